#include "decoder/waveform.h"

#include "decoder/harmonics.h"
#include "dsp/simd_float.h"
#include "dsp/table.h"
#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TABLES
{

/* spline_table for each size of the transform: the real parts of every (FFT_MAX/n)th entry, and whatever fills up the
 * last group of four */
template <int n>
using SplineFactors = Table<float, n / 2 + 4>;

extern const SplineFactors<32> spline_factors_32;
extern const SplineFactors<64> spline_factors_64;
extern const SplineFactors<128> spline_factors_128;

#ifdef TALV_HAS_TABLES

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

namespace
{

template <int n>
constexpr SplineFactors<n> make_spline_factors() noexcept
{
    SplineFactors<n> table{};
    for (int i = 0; i <= n / 2; i++)
        table.entry[i] = spline_table[i * (FFT_MAX / n)].re;
    return table;
}

} // namespace

constexpr SplineFactors<32> spline_factors_32 = make_spline_factors<32>();
constexpr SplineFactors<64> spline_factors_64 = make_spline_factors<64>();
constexpr SplineFactors<128> spline_factors_128 = make_spline_factors<128>();

#endif

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

void fft_size_for(int length, int cap, int32_t *out) noexcept
{
    const int size = length > 1 ? 2 << (31 - __builtin_clz(static_cast<unsigned>(length - 1))) : 1;
    *out = size > cap ? cap : size;
}

namespace
{

/** The quotient of bin 0 */
void divide_first(const Spectrum *exc, const Spectrum *lpc, Spectrum *out) noexcept
{
    const wide_t xr = wide(exc->re[0]), xi = wide(exc->im[0]), br = wide(lpc->re[0]), bi = wide(lpc->im[0]);
    const wide_t D = wide(rounded(br * br + bi * bi + TINY));
    out->re[0] = rounded((br * xr + bi * xi) / D);
    out->im[0] = rounded((br * xi - bi * xr) / D);
}

float level_factor(int h, float E, float scale) noexcept
{
    return rounded(wide(h) * wide(scale) * std::sqrt(2 / wide(E)));
}

} // namespace

[[gnu::cold]] void spectrum_shape(int h, const Spectrum *exc, const Spectrum *lpc, float scale, Spectrum *out) noexcept
{
    divide_first(exc, lpc, out);
    wide_t sum = TINY;
    for (int k = 1; k <= h; k += LANES) {
        const Bins bins = divide_four({load4(exc->re + k), load4(exc->im + k)}, *lpc, k);
        wide_t energy[LANES];
        store(energy, energy_of(bins));
        store4(out->re + k, bins.re);
        store4(out->im + k, bins.im);
        for (int i = 0; i < LANES && k + i < h; i++)
            sum += energy[i];
    }
    const wide_t edge = wide(out->re[h]), first = wide(out->re[0]);
    float E = rounded(sum);
    E = rounded(wide(E) + wide(0.5) * (edge * edge + first * first));
    const float F = level_factor(h, E, scale);
    for (int k = 0; k <= h; k++) {
        out->re[k] *= F;
        out->im[k] *= F;
    }
}

namespace
{

/** TINY and the energies of the bins 1 to h - 1, added up in rising order and rounded once
 *  total  I  that of the bins 1 to h in any other order */
float energy_below(int h, const Spectrum &spec, wide_t total) noexcept
{
    const auto energy = [&](int k) {
        const wide_t re = wide(spec.re[k]), im = wide(spec.im[k]);
        return add_exact(re * re, im, im);
    };
    float nearest;
    if (rounds_alike(TINY + total - energy(h), (TINY + total) * SUM_ORDER_ERROR, &nearest))
        return nearest;
    wide_t sum = TINY;
    for (int k = 1; k < h; k++)
        sum += energy(k);
    return rounded(sum);
}

/** divide_excitations() of just so many. One short loop after the other: a long one would have the processor wait for
 *  the end of each bin's long chain of operations, before it could see enough of the next ones.                     */
template <int count>
[[gnu::noinline]] void divide(uint32_t *seed, int h, const float *rs, const float (*amp)[AMP_ROOM],
                              Spectrum *const *spec, float *energy) noexcept
{
    uint16_t draw[count][DRAWS];
    NoiseCurve curve[count];
    Spectrum exc[count];
    for (int i = 0; i < count; i++) {
        draw_phases(seed, h, draw[i]);
        curve[i] = noise_curve(rs[i]);
    }
    RelativeFrequency w = relative_frequency(h);
    for (int k = 1; k <= h; k += LANES) {
        const Wide4 now = next_four(&w);
        TALV_UNROLL
        for (int i = 0; i < count; i++)
            store4(exc[i].re + k, noise_at(curve[i], now));
    }
    for (int k = 1; k <= h; k += LANES) {
        const int row = k < AMP_ROOM - LANES ? k - 1 : AMP_ROOM - LANES;
        TALV_UNROLL
        for (int i = 0; i < count; i++) {
            const Bins bins = mix_four(k, load4(amp[i] + row), load4(exc[i].re + k), draw[i] + k - 1);
            store4(exc[i].re + k, bins.re);
            store4(exc[i].im + k, bins.im);
        }
    }

    Wide4 total[count] = {};
    for (int i = 0; i < count; i++) {
        spec[i]->re[0] = spec[i]->im[0] = 0.0f;
        store4(exc[i].re + h + 1, Float4{}); /* what fills up the last group has no energy */
        store4(exc[i].im + h + 1, Float4{});
    }
    for (int k = 1; k <= h; k += LANES)
        TALV_UNROLL
    for (int i = 0; i < count; i++) {
        Spectrum *const out = spec[i];
        const Bins bins = divide_four({load4(exc[i].re + k), load4(exc[i].im + k)}, *out, k);
        store4(out->re + k, bins.re);
        store4(out->im + k, bins.im);
        total[i] = total[i] + energy_of(bins);
    }
    for (int i = 0; i < count; i++) {
        const wide_t edge = wide(spec[i]->re[h]);
        energy[i] = rounded(wide(energy_below(h, *spec[i], sum_of_lanes(total[i]))) + wide(0.5) * (edge * edge));
    }
}

} // namespace

void divide_excitations(uint32_t *seed, int count, int h, const float *rs, const float (*amp)[AMP_ROOM],
                        Spectrum *const *spec, float *energy) noexcept
{
    if constexpr (LANES_RUN_TOGETHER)
        if (count == 2) {
            divide<2>(seed, h, rs, amp, spec, energy);
            return;
        }
    for (int i = 0; i < count; i++)
        divide<1>(seed, h, rs + i, amp + i, spec + i, energy + i);
}

namespace
{

/** A bin times an entry */
void multiply(int k, Complex y, Spectrum *spec) noexcept
{
    const Complex x = {spec->re[k], spec->im[k]};
    spec->re[k] = rounded(subtract_exact(wide(x.re) * wide(y.re), wide(x.im), wide(y.im)));
    spec->im[k] = rounded(add_exact(wide(x.re) * wide(y.im), wide(x.im), wide(y.re)));
}

} // namespace

void spectrum_trim(int p, int n, Spectrum *spec) noexcept
{
    if (n <= p)
        return;
    const int h = p / 2;
    for (int k = h + 1; k <= n / 2; k += LANES) {
        store4(spec->re + k, Float4{});
        store4(spec->im + k, Float4{});
    }
    if (p % 2 == 0) { /* the inverse transform doubles every bin below n/2 */
        spec->re[h] *= 0.5f;
        spec->im[h] *= 0.5f;
    }
}

[[gnu::cold]] void spline_prefilter(int size, const Complex *table, int n, Spectrum *spec) noexcept
{
    const int s = size / n;
    for (int i = 0; i <= n / 2; i++)
        multiply(i, table[i * s], spec);
}

void level_factors(int count, const int32_t *p, const int32_t *n, const float *gain, const float *energy,
                   float *factor) noexcept
{
    for (int i = 0; i < count; i++) {
        const float scale = rounded(wide(n[i]) * wide(gain[i]) * wide(CYCLE_LEVEL) / wide(p[i]));
        factor[i] = level_factor(p[i] / 2, energy[i], scale);
    }
}

void finish_spectrum(int p, int n, float F, Spectrum *spec) noexcept
{
    spectrum_trim(p, n, spec);
    /* All entries but one are real: the product is then that of two floats. */
    constexpr int COMPLEX_ENTRY = 63;
    const Complex x = {spec->re[COMPLEX_ENTRY] * F, spec->im[COMPLEX_ENTRY] * F};
    const float *factors = n == 32   ? spline_factors_32.entry
                           : n == 64 ? spline_factors_64.entry
                                     : spline_factors_128.entry;
    for (int k = 1; k <= n / 2; k += LANES) {
        const Float4 factor = load4(factors + k);
        store4(spec->re + k, load4(spec->re + k) * F * factor);
        store4(spec->im + k, load4(spec->im + k) * F * factor);
    }
    if (n == FFT_MAX) {
        spec->re[COMPLEX_ENTRY] = x.re;
        spec->im[COMPLEX_ENTRY] = x.im;
        multiply(COMPLEX_ENTRY, spline_table[COMPLEX_ENTRY], spec);
    }
}

} // namespace talv::inline TALV_TARGET
