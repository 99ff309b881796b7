#include "decoder/waveform.h"

#include "dsp/simd.h"
#include "dsp/table.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

// clang-format off
/* Noise magnitude over relative frequency w = k/h, c0 + c1 w + c2 w^2 + c3 w^3, for ten steps of periodicity */
const float noise_poly_table[10][4] = {
    {  0.00f,   0.00f,   0.00f,   0.50f},
    {  0.00f,   0.00f,   0.28f,   0.33f},
    {  0.00f,   0.03f,   0.55f,   0.14f},
    {  0.00f,   0.08f,   0.81f,  -0.05f},
    {  0.00f,   0.30f,   0.90f,  -0.20f},
    {  0.00f,   1.10f,  -0.10f,   0.00f},
    {  0.30f,   1.10f,  -0.60f,   0.20f},
    {  0.60f,   0.90f,  -0.90f,   0.40f},
    {  0.85f,   0.50f,  -0.65f,   0.30f},
    {  1.00f,   0.00f,   0.00f,   0.00f},
};

/* Phases as unit vectors, two decimals */
const Complex phase_table[PHASES] = {
    /*   0 */ {-0.93f, -0.37f}, {-0.18f,  0.98f}, { 0.75f, -0.67f}, { 0.95f,  0.32f},
              { 0.99f,  0.10f}, { 0.93f,  0.36f}, { 0.80f, -0.60f}, { 0.89f, -0.46f},
    /*   8 */ { 0.86f, -0.51f}, { 0.52f, -0.86f}, {-0.05f, -1.00f}, { 0.09f, -1.00f},
              {-0.05f, -1.00f}, {-0.05f, -1.00f}, {-0.26f, -0.97f}, {-0.46f, -0.89f},
    /*  16 */ {-0.84f, -0.54f}, {-0.06f,  1.00f}, {-0.06f, -1.00f}, {-0.82f, -0.57f},
              {-0.99f, -0.10f}, {-1.00f, -0.07f}, {-0.99f, -0.13f}, {-0.64f,  0.76f},
    /*  24 */ {-0.51f,  0.86f}, { 0.01f,  1.00f}, {-0.33f,  0.94f}, {-0.37f,  0.93f},
              { 0.10f,  1.00f}, {-0.50f,  0.87f}, {-0.39f,  0.92f}, {-0.47f,  0.88f},
    /*  32 */ { 0.15f,  0.99f}, { 0.46f,  0.89f}, { 0.81f,  0.59f}, { 0.99f,  0.15f},
              { 0.97f, -0.23f}, { 1.00f,  0.00f}, { 1.00f,  0.00f}, { 1.00f, -0.01f},
    /*  40 */ {-0.84f,  0.55f}, { 0.97f,  0.25f}, {-0.76f, -0.65f}, {-0.66f,  0.75f},
              {-0.84f,  0.54f}, { 0.53f, -0.85f}, { 0.05f, -1.00f}, {-0.38f,  0.93f},
    /*  48 */ {-0.40f, -0.91f}, { 0.09f, -1.00f}, { 0.61f,  0.79f}, {-0.57f,  0.82f},
              { 0.45f,  0.89f}, {-0.85f,  0.53f}, { 1.00f,  0.06f}, {-0.75f,  0.66f},
    /*  56 */ { 0.88f,  0.48f}, { 0.99f,  0.17f}, {-0.38f,  0.93f}, {-0.15f,  0.99f},
              { 0.98f, -0.21f}, {-0.93f,  0.38f}, { 0.69f,  0.72f}, {-0.81f,  0.58f},
    /*  64 */ {-0.05f,  1.00f}, { 0.38f, -0.93f}, {-0.97f,  0.26f}, {-1.00f,  0.08f},
              { 0.99f, -0.16f}, { 0.21f, -0.98f}, { 0.23f,  0.97f}, { 0.78f,  0.63f},
    /*  72 */ {-0.96f, -0.27f}, { 0.49f, -0.87f}, { 0.43f, -0.90f}, {-0.87f, -0.50f},
              { 0.36f,  0.93f}, { 0.98f, -0.22f}, {-1.00f, -0.04f}, { 0.67f,  0.74f},
    /*  80 */ { 0.61f,  0.79f}, { 0.51f,  0.86f}, {-0.11f,  0.99f}, { 0.99f, -0.10f},
              { 0.94f, -0.34f}, { 0.19f,  0.98f}, { 0.79f,  0.61f}, {-0.38f, -0.92f},
    /*  88 */ { 0.43f, -0.90f}, {-0.90f, -0.44f}, { 0.99f,  0.12f}, {-0.98f,  0.20f},
              { 0.15f, -0.99f}, { 1.00f,  0.02f}, { 0.99f,  0.12f}, {-0.50f,  0.86f},
    /*  96 */ { 0.32f, -0.95f}, {-0.23f,  0.97f}, { 0.86f,  0.51f}, {-0.11f,  0.99f},
              { 0.83f, -0.55f}, { 0.68f, -0.73f}, { 0.13f,  0.99f}, {-0.17f,  0.99f},
    /* 104 */ { 0.85f,  0.53f}, {-0.34f,  0.94f}, {-0.95f,  0.32f}, {-0.65f,  0.76f},
              { 0.71f,  0.70f}, { 0.95f,  0.31f}, {-0.03f, -1.00f}, {-0.99f, -0.16f},
    /* 112 */ {-0.98f,  0.20f}, {-0.64f, -0.77f}, { 0.74f,  0.67f}, { 0.09f, -1.00f},
              { 0.72f, -0.69f}, {-0.34f,  0.94f}, {-0.56f,  0.83f}, { 0.88f,  0.48f},
    /* 120 */ { 0.62f,  0.78f}, { 0.96f,  0.30f}, { 0.68f, -0.73f}, { 0.01f,  1.00f},
              {-0.27f, -0.96f}, { 0.85f,  0.53f}, {-0.05f,  1.00f}, {-0.15f, -0.99f},
};

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

/** c3 v^3 + c2 v^2 + c1 v + c0 by Horner's rule; c3 and v are floats in value */
template <typename T>
TALV_INLINE T cubic(T c0, T c1, T c2, T c3, T v) noexcept
{
    return (add_exact(c2, c3, v) * v + c1) * v + c0;
}

} // namespace

void noise_profile(int h, int cap, float rs, float *out) noexcept
{
    constexpr int STEPS = 9;
    constexpr float LAST = 8.995f; /* the end of the scale stays inside the last pair of rows */
    float x = rounded(STEPS * wide(rs));
    if (x >= static_cast<float>(STEPS))
        x = LAST;
    const int i = static_cast<int>(x);
    const float f = x - static_cast<float>(i);
    const float g = 1.0f - f;
    const Wide4 lower = load_wide(noise_poly_table[i]), upper = load_wide(noise_poly_table[i + 1]);
    double c[4];
    store(c, rounded_wide(add_exact(broadcast(wide(g)) * lower, broadcast(wide(f)), upper)));

    const Wide4 c0 = broadcast(c[0]), c1 = broadcast(c[1]), c2 = broadcast(c[2]), c3 = broadcast(c[3]);
    out[0] = 0.0f;
    const float d = 1.0f / static_cast<float>(h);
    float w = d; /* k/h as a running sum of floats */
    int k = 1;
    for (; k <= h && k + LANES <= cap + 1; k += LANES) { /* may run over h, into what is cleared below */
        const float w1 = w + d, w2 = w1 + d, w3 = w2 + d;
        store_rounded(out + k, cubic(c0, c1, c2, c3, widened(Float4{w, w1, w2, w3})));
        w = w3 + d;
    }
    for (; k <= h; k++, w += d)
        out[k] = rounded(cubic(c[0], c[1], c[2], c[3], wide(w)));
    for (k = h + 1; k <= cap; k++)
        out[k] = 0.0f;
}

void amp_profile(int count, const float *as, int h, int cap, float *out) noexcept
{
    out[0] = 0.0f;
    for (int k = 1; k <= count; k++)
        out[k] = as[k - 1];
    for (int k = count + 1; k <= h; k++)
        out[k] = 1.0f;
    for (int k = h + 1; k <= cap; k++)
        out[k] = 0.0f;
}

void fft_size_for(int length, int cap, int32_t *out) noexcept
{
    int size = 1;
    while (size < length)
        size *= 2;
    *out = size > cap ? cap : size;
}

void poly_mul2(int count, float *poly, float c1, float c2) noexcept
{
    const double C1 = wide(c1), C2 = wide(c2);
    poly[count + 1] = c2 * poly[count - 1];
    poly[count] = rounded(add_exact(C2 * wide(poly[count - 2]), C1, wide(poly[count - 1])));
    for (int m = count - 1; m >= 2; m--)
        poly[m] = rounded(add_exact(C1 * wide(poly[m - 1]), C2, wide(poly[m - 2])) + wide(poly[m]));
    poly[1] = rounded(add_exact(wide(poly[1]), C1, wide(poly[0])));
}

namespace
{

constexpr double TWO_PI = 6.283185307;

/** (cos theta, sin theta), theta = 2 pi / p */
constexpr Complex first_harmonic(int p) noexcept
{
    const float theta = rounded(TWO_PI / p);
    return {rounded(cos_wide(wide(theta))), rounded(sin_wide(wide(theta)))};
}

constexpr int LAG_COUNT = LAG_MAX_FRAME - LAG_MIN + 1;

constexpr Table<Complex, LAG_COUNT> make_first_harmonics() noexcept
{
    Table<Complex, LAG_COUNT> table{};
    for (int i = 0; i < LAG_COUNT; i++)
        table.entry[i] = first_harmonic(LAG_MIN + i);
    return table;
}

constexpr Table<Complex, LAG_COUNT> first_harmonics = make_first_harmonics();

/** (cos k theta, sin k theta) in its two low lanes, walking over k. Both obey v(k+1) = 2 cos(theta) v(k) - v(k-1), and
 *  so do the cosines and sines of the multiples of each angle k theta in polynomial_at(). A fused operation does such a
 *  step in one rounding; for all angles 2 pi / p with p up to 1000 that was found to be, step by step, the very float
 *  that comes from rounding the difference to double first.                                                          */
struct Harmonics {
    Float4 two_cos, v, before;
};

TALV_INLINE Float4 next_point(Harmonics *harmonics) noexcept
{
    const Float4 v = harmonics->v;
    harmonics->v = multiply_subtract_two(harmonics->two_cos, v, harmonics->before);
    harmonics->before = v;
    return v;
}

/** `count` polynomials, their coefficients widened, and where the next four values of each go */
template <int count>
struct Polynomials {
    Wide4 coef[count][POLY_TERMS];
    Complex *out[count];
};

/** The polynomials at the conjugates of the next four harmonics: (sum poly[j] cos(j phi), -sum poly[j] sin(j phi)) */
template <int count>
TALV_INLINE void evaluate_four(const Polynomials<count> &polys, Harmonics *harmonics) noexcept
{
    const Float4 p0 = next_point(harmonics), p1 = next_point(harmonics);
    const Float4 p2 = next_point(harmonics), p3 = next_point(harmonics);
    const Float4 p01 = interleave_low(p0, p1), p23 = interleave_low(p2, p3);
    const Float4 cosines = low_halves(p01, p23);
    const FloatLanes two_cos = float_lanes(cosines + cosines);
    FloatLanes c = float_lanes(cosines), c_before = float_lanes(Float4{1.0f, 1.0f, 1.0f, 1.0f});
    FloatLanes s = float_lanes(high_halves(p01, p23)), s_before = float_lanes(Float4{});
    Wide4 re[count], im[count];
    for (int i = 0; i < count; i++) {
        re[i] = polys.coef[i][0];
        im[i] = Wide4{};
    }
    TALV_UNROLL
    for (int j = 1; j < POLY_TERMS; j++) {
        const Wide4 wide_c = widened(c), wide_s = widened(s);
        for (int i = 0; i < count; i++) {
            re[i] = add_exact(re[i], polys.coef[i][j], wide_c);
            im[i] = subtract_exact(im[i], polys.coef[i][j], wide_s);
        }
        const FloatLanes c_next = multiply_subtract(two_cos, c, c_before);
        const FloatLanes s_next = multiply_subtract(two_cos, s, s_before);
        c_before = c;
        c = c_next;
        s_before = s;
        s = s_next;
    }
    for (int i = 0; i < count; i++) {
        const Float4 out_re = narrowed(re[i]), out_im = narrowed(im[i]);
        store4(&polys.out[i][0].re, interleave_low(out_re, out_im));
        store4(&polys.out[i][2].re, interleave_high(out_re, out_im));
    }
}

/** lpc_spectrum for one or more polynomials, in which the cosines and sines are common */
template <int count>
TALV_INLINE void spectra(const float *const (&poly)[count], int terms, int p, Complex *const (&out)[count]) noexcept
{
    Polynomials<count> polys;
    for (int i = 0; i < count; i++) {
        double sum = 0.0;
        for (int j = 0; j < POLY_TERMS; j++) {
            const double v = j < terms ? wide(poly[i][j]) : 0.0;
            polys.coef[i][j] = broadcast(v);
            sum += v;
        }
        out[i][0] = {rounded(sum), 0.0f};
    }

    const int h = p / 2;
    const Complex first = first_harmonics[p - LAG_MIN];
    const float two_cos = 2.0f * first.re;
    Harmonics harmonics = {{two_cos, two_cos}, {first.re, first.im}, {1.0f, 0.0f}};
    for (int k = 1; k <= h; k += LANES) {
        Complex last[count][LANES];
        const bool whole = k + LANES <= h + 1;
        for (int i = 0; i < count; i++)
            polys.out[i] = whole ? out[i] + k : last[i];
        evaluate_four(polys, &harmonics);
        if (!whole)
            for (int i = 0; i < count; i++)
                for (int l = 0; k + l <= h; l++)
                    out[i][k + l] = last[i][l];
    }
}

} // namespace

void lpc_spectrum(const float *poly, int terms, int p, Complex *out) noexcept
{
    spectra<1>({poly}, terms, p, {out});
}

void lpc_spectrum_two(const float *poly0, const float *poly1, int terms, int p, Complex *out0, Complex *out1) noexcept
{
    spectra<2>({poly0, poly1}, terms, p, {out0, out1});
}

namespace
{

/** The noise generator: seed = ((seed + 1) 17) mod 4096. i steps of it at once are 17^i seed + 17 + .. + 17^i, and
 *  since 4096 divides 2^16, 16 bits of the state are enough to find the steps after it.                             */
constexpr uint32_t SEED_FACTOR = 17;
constexpr uint32_t SEED_MASK = 4095;
constexpr int STEPS_AT_ONCE = 8;

struct SeedSteps {
    uint16_t factor[STEPS_AT_ONCE], offset[STEPS_AT_ONCE]; /* of 1 to 8 steps */
};

constexpr SeedSteps make_seed_steps() noexcept
{
    SeedSteps steps{};
    uint32_t factor = 1, offset = 0;
    for (int i = 0; i < STEPS_AT_ONCE; i++) {
        factor *= SEED_FACTOR;
        offset = (offset + 1) * SEED_FACTOR;
        steps.factor[i] = static_cast<uint16_t>(factor);
        steps.offset[i] = static_cast<uint16_t>(offset);
    }
    return steps;
}

constexpr SeedSteps seed_steps = make_seed_steps();

/** The states after 1 to 8 steps, not reduced to 12 bits */
TALV_INLINE Short8 states_after(uint32_t seed) noexcept
{
    const Short8 s = Short8{} + static_cast<uint16_t>(seed);
    return s * load8(seed_steps.factor) + load8(seed_steps.offset);
}

/** The phases that states draw */
TALV_INLINE Short8 draws(Short8 states) noexcept
{
    return (states & static_cast<uint16_t>(SEED_MASK)) >> 5;
}

/** v P + noise Q for two harmonics; v and noise hold each value twice */
TALV_INLINE void mix_pair(Float4 v, Float4 noise, const Complex *P, const Complex &Q0, const Complex &Q1,
                          Complex *out) noexcept
{
    const Float4 Q = load_pairs(&Q0.re, &Q1.re);
    store_rounded(&out->re, add_exact(widened(v) * load_wide(&P->re), widened(noise), widened(Q)));
}

} // namespace

void mix_excitation(uint32_t *seed, int h, const float *amp, const float *noise, Complex *out) noexcept
{
    out[0] = {0.0f, 0.0f};
    uint32_t state = *seed;
    int k = 1;
    for (; k + LANES <= h + 1; k += LANES) {
        const Float4 n = load4(noise + k);
        const Float4 v = not_below_zero(load4(amp + k) - n);
        const Complex *P = phase_table + ((k - 1) & (PHASES - 1));
        const Short8 states = states_after(state);
        const Short8 drawn = draws(states);
        mix_pair(interleave_low(v, v), interleave_low(n, n), P, phase_table[drawn[0]], phase_table[drawn[1]], out + k);
        mix_pair(interleave_high(v, v), interleave_high(n, n), P + 2, phase_table[drawn[2]], phase_table[drawn[3]],
                 out + k + 2);
        state = states[LANES - 1];
    }
    for (; k <= h; k++) {
        state = (state + 1) * SEED_FACTOR;
        float v = amp[k] - noise[k];
        if (v < 0.0f)
            v = 0.0f;
        const Complex P = phase_table[(k - 1) & (PHASES - 1)];
        const Complex Q = phase_table[(state & SEED_MASK) / 32];
        out[k] = {rounded(add_exact(wide(v) * wide(P.re), wide(noise[k]), wide(Q.re))),
                  rounded(add_exact(wide(v) * wide(P.im), wide(noise[k]), wide(Q.im)))};
    }
    if (h > 0)
        *seed = state & SEED_MASK;
}

namespace
{

constexpr double TINY = 1e-10; /* keeps the quotients finite where a divisor vanishes */

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
    const double xr = wide(x.re), xi = wide(x.im), br = wide(b.re), bi = wide(b.im);
    const double D = wide(rounded(br * br + bi * bi + TINY));
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
    double sum = TINY;
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
    E = rounded(wide(E) + 0.5 * (wide(edge) * wide(edge) + wide(out[0].re) * wide(out[0].re)));
    const float F = rounded(h * wide(scale) * std::sqrt(2.0 / wide(E)));
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
