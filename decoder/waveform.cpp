#include "decoder/waveform.h"

#include "dsp/simd_float.h"
#include "dsp/table.h"
#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

// clang-format off
/* 1/(4 + 2 cos(2 pi i / 128)) to six decimals */
constexpr Complex spline_table[FFT_MAX / 2 + 1] = {
    /*  0 */ {0.166667f, 0.0f}, {0.166734f, 0.0f}, {0.166935f, 0.0f}, {0.167270f, 0.0f}, {0.167741f, 0.0f},
    /*  5 */ {0.168348f, 0.0f}, {0.169094f, 0.0f}, {0.169979f, 0.0f}, {0.171006f, 0.0f}, {0.172177f, 0.0f},
    /* 10 */ {0.173495f, 0.0f}, {0.174964f, 0.0f}, {0.176587f, 0.0f}, {0.178367f, 0.0f}, {0.180309f, 0.0f},
    /* 15 */ {0.182418f, 0.0f}, {0.184699f, 0.0f}, {0.187157f, 0.0f}, {0.189797f, 0.0f}, {0.192626f, 0.0f},
    /* 20 */ {0.195651f, 0.0f}, {0.198878f, 0.0f}, {0.202315f, 0.0f}, {0.205969f, 0.0f}, {0.209847f, 0.0f},
    /* 25 */ {0.213960f, 0.0f}, {0.218313f, 0.0f}, {0.222918f, 0.0f}, {0.227781f, 0.0f}, {0.232912f, 0.0f},
    /* 30 */ {0.238320f, 0.0f}, {0.244013f, 0.0f}, {0.250000f, 0.0f}, {0.256287f, 0.0f}, {0.262883f, 0.0f},
    /* 35 */ {0.269793f, 0.0f}, {0.277022f, 0.0f}, {0.284573f, 0.0f}, {0.292446f, 0.0f}, {0.300642f, 0.0f},
    /* 40 */ {0.309154f, 0.0f}, {0.317976f, 0.0f}, {0.327096f, 0.0f}, {0.336497f, 0.0f}, {0.346157f, 0.0f},
    /* 45 */ {0.356049f, 0.0f}, {0.366138f, 0.0f}, {0.376381f, 0.0f}, {0.386730f, 0.0f}, {0.397125f, 0.0f},
    /* 50 */ {0.407501f, 0.0f}, {0.417783f, 0.0f}, {0.427888f, 0.0f}, {0.437724f, 0.0f}, {0.447196f, 0.0f},
    /* 55 */ {0.456200f, 0.0f}, {0.464632f, 0.0f}, {0.472386f, 0.0f}, {0.479359f, 0.0f}, {0.485451f, 0.0f},
    /* 60 */ {0.490574f, 0.0f}, {0.494647f, 0.0f}, {0.497605f, 0.0f}, {0.499399f, 0.000001f}, {0.500000f, 0.0f},
};
// clang-format on

void fft_size_for(int length, int cap, int32_t *out) noexcept
{
    int size = 1;
    while (size < length)
        size *= 2;
    *out = size > cap ? cap : size;
}

namespace
{

constexpr wide_t TINY = wide(1e-10); /* keeps the quotients finite where a divisor vanishes */

/** Four quotients exc/lpc, in two pairs, and the square of each one's magnitude */
struct Quotients {
    Float4 q01, q23;
    Wide4 energy;
};

TALV_INLINE Quotients divide_four(Float4 x01, Float4 x23, Float4 b01, Float4 b23) noexcept
{
    const Wide4 xr = widened(even_lanes(x01, x23)), xi = widened(odd_lanes(x01, x23));
    const Wide4 br = widened(even_lanes(b01, b23)), bi = widened(odd_lanes(b01, b23));
    const Wide4 D = rounded_wide(add_exact(br * br, bi, bi) + broadcast(TINY));
    const Float4 re = narrowed(add_exact(br * xr, bi, xi) / D);
    const Float4 im = narrowed(subtract_exact(br * xi, bi, xr) / D);
    const Wide4 wide_re = widened(re), wide_im = widened(im);
    return {interleave_low(re, im), interleave_high(re, im), add_exact(wide_re * wide_re, wide_im, wide_im)};
}

Complex divide_one(Complex x, Complex b) noexcept
{
    const wide_t xr = wide(x.re), xi = wide(x.im), br = wide(b.re), bi = wide(b.im);
    const wide_t D = wide(rounded(br * br + bi * bi + TINY));
    return {rounded((br * xr + bi * xi) / D), rounded((br * xi - bi * xr) / D)};
}

/** The bins k .. h, at most four of them; bin 0 fills up the rest */
TALV_INLINE Quotients divide_last(const Complex *exc, const Complex *lpc, int k, int h) noexcept
{
    int bin[LANES];
    for (int i = 0; i < LANES; i++)
        bin[i] = k + i <= h ? k + i : 0;
    return divide_four(load_pairs(&exc[bin[0]].re, &exc[bin[1]].re), load_pairs(&exc[bin[2]].re, &exc[bin[3]].re),
                       load_pairs(&lpc[bin[0]].re, &lpc[bin[1]].re), load_pairs(&lpc[bin[2]].re, &lpc[bin[3]].re));
}

} // namespace

void spectrum_shape(int h, const Complex *exc, const Complex *lpc, float scale, Complex *out) noexcept
{
    wide_t sum = TINY;
    int k = 1;
    for (; k + LANES <= h; k += LANES) {
        const Quotients quotients =
            divide_four(load4(&exc[k].re), load4(&exc[k + 2].re), load4(&lpc[k].re), load4(&lpc[k + 2].re));
        store4(&out[k].re, quotients.q01);
        store4(&out[k + 2].re, quotients.q23);
        sum += lane(quotients.energy, 0);
        sum += lane(quotients.energy, 1);
        sum += lane(quotients.energy, 2);
        sum += lane(quotients.energy, 3);
    }
    /* Up to four bins are left, the edge bin h among them. */
    const Quotients last = divide_last(exc, lpc, k, h);
    for (int i = 0; k + i < h; i++)
        sum += lane(last.energy, i);
    float values[2 * LANES];
    store4(values, last.q01);
    store4(values + LANES, last.q23);
    const float edge = values[2 * (h - k)];
    out[0] = divide_one(exc[0], lpc[0]);

    float E = rounded(sum);
    E = rounded(wide(E) + wide(0.5) * (wide(edge) * wide(edge) + wide(out[0].re) * wide(out[0].re)));
    const float F = rounded(wide(h) * wide(scale) * std::sqrt(2 / wide(E)));
    for (int i = 1; i < k; i += LANES / 2)
        store4(&out[i].re, load4(&out[i].re) * F);
    for (int i = k; i <= h; i++)
        out[i] = {F * values[2 * (i - k)], F * values[2 * (i - k) + 1]};
    out[0] = {F * out[0].re, F * out[0].im};
}

void spectrum_trim(int p, int n, Complex *spec) noexcept
{
    if (n <= p)
        return;
    const int h = p / 2;
    for (int k = h + 1; k <= n / 2; k++)
        spec[k] = {0.0f, 0.0f};
    if (p % 2 == 0) /* the inverse transform doubles every bin below n/2 */
        spec[h] = {0.5f * spec[h].re, 0.5f * spec[h].im};
}

namespace
{

/** The real parts of every (FFT_MAX/n)th entry of spline_table, twice each: the factors of a spectrum of n points */
template <int n>
constexpr Table<float, n + 2> make_spline_factors() noexcept
{
    Table<float, n + 2> table{};
    for (int i = 0; i < n + 2; i++)
        table.entry[i] = spline_table[i / 2 * (FFT_MAX / n)].re;
    return table;
}

constexpr Table<float, 34> spline_factors_32 = make_spline_factors<32>();
constexpr Table<float, 66> spline_factors_64 = make_spline_factors<64>();
constexpr Table<float, 130> spline_factors_128 = make_spline_factors<128>();

TALV_INLINE Complex multiply(Complex x, Complex y) noexcept
{
    return {rounded(subtract_exact(wide(x.re) * wide(y.re), wide(x.im), wide(y.im))),
            rounded(add_exact(wide(x.re) * wide(y.im), wide(x.im), wide(y.re)))};
}

} // namespace

void spline_prefilter(int size, const Complex *table, int n, Complex *spec) noexcept
{
    if (table != spline_table || n < 32) {
        const int s = size / n;
        for (int i = 0; i <= n / 2; i++)
            spec[i] = multiply(spec[i], table[i * s]);
        return;
    }
    /* All entries but one are real: the product is then that of two floats. */
    constexpr int COMPLEX_ENTRY = 63;
    const Complex x = spec[n == FFT_MAX ? COMPLEX_ENTRY : 0];
    const float *factors = n == 32 ? spline_factors_32 : n == 64 ? spline_factors_64 : spline_factors_128;
    float *values = &spec[0].re;
    spec[0] = {values[0] * factors[0], values[1] * factors[0]};
    for (int i = 2; i < n + 2; i += LANES)
        store4(values + i, load4(values + i) * load4(factors + i));
    if (n == FFT_MAX)
        spec[COMPLEX_ENTRY] = multiply(x, table[COMPLEX_ENTRY]);
}

} // namespace talv::inline TALV_TARGET
