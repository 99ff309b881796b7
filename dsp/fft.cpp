#include "dsp/fft.h"

#include "dsp/fft_wide.h"
#include "dsp/simd_float.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TABLES
{

namespace
{

constexpr float six_decimals(double v) noexcept
{
    const double millionths = v * 1e6;
    return rounded(static_cast<int32_t>(millionths < 0.0 ? millionths - 0.5 : millionths + 0.5) / 1e6);
}

constexpr Table<Complex, FFT_MAX> make_twiddle() noexcept
{
    Table<Complex, FFT_MAX> table{};
    for (int t = 0; t < FFT_MAX; t++) {
        const double angle = 2.0 * PI * t / FFT_MAX;
        table.entry[t] = {six_decimals(cos_wide(angle)), six_decimals(-sin_wide(angle))};
    }
    return table;
}

/** Where the factors of one size lie: merge, last stage but one, last stage; real parts before imaginary ones */
template <typename T, int h>
consteval Table<T, 2 * h> make_factors() noexcept
{
    constexpr int q = h / 4;
    constexpr Table<Complex, FFT_MAX> twiddle = make_twiddle();
    Table<T, 2 * h> table{};
    for (int k = 0; k < h / 2; k++) {
        const Complex w = twiddle.entry[(k + 1) * (FFT_MAX / (2 * h))];
        table.entry[k] = static_cast<T>(w.re);
        table.entry[h / 2 + k] = static_cast<T>(w.im);
    }
    for (int t = 0; t < q; t++) {
        const Complex a = twiddle.entry[t * (2 * FFT_MAX / h)];
        const Complex b = twiddle.entry[t * (FFT_MAX / h)];
        table.entry[h + t] = static_cast<T>(a.re);
        table.entry[h + q + t] = static_cast<T>(-a.im);
        table.entry[h + 2 * q + t] = static_cast<T>(b.re);
        table.entry[h + 3 * q + t] = static_cast<T>(-b.im);
    }
    return table;
}

} // namespace

/* Factors of the wide transforms of 2 h points, as T wants them */
template <typename T, int h>
inline constexpr Table<T, 2 * h> fft_factors = make_factors<T, h>();

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr MiddleFactors make_middle_factors() noexcept
{
    constexpr Table<Complex, FFT_MAX> twiddle = make_twiddle();
    MiddleFactors factors{};
    for (int t = 0; t < 8; t++) {
        factors.re[t] = wide(twiddle.entry[t * FFT_MAX / 16].re);
        factors.im[t] = wide(-twiddle.entry[t * FFT_MAX / 16].im);
    }
    return factors;
}

} // namespace

constexpr MiddleFactors fft_middle_factors = make_middle_factors();

} // namespace talv::inline TALV_TARGET

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

namespace
{

constexpr int BITREV_BITS = 7; /* FFT_MAX is 2^7 */
static_assert(1 << BITREV_BITS == FFT_MAX);

constexpr Table<int32_t, FFT_MAX> make_bitrev() noexcept
{
    Table<int32_t, FFT_MAX> table{};
    for (int k = 0; k < FFT_MAX; k++)
        for (int bit = 0; bit < BITREV_BITS; bit++)
            if ((k >> bit & 1) != 0)
                table.entry[k] |= 1 << (BITREV_BITS - 1 - bit);
    return table;
}

} // namespace

constexpr Table<int32_t, FFT_MAX> fft_bitrev = make_bitrev();
constexpr Table<Complex, FFT_MAX> fft_twiddle = make_twiddle();

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

namespace
{

/** z[a], z[b] become z[a] + z[b], z[a] - z[b]; a and b count complex elements of interleaved floats */
void butterfly(float *z, int a, int b) noexcept
{
    const float re = z[2 * a] - z[2 * b];
    const float im = z[2 * a + 1] - z[2 * b + 1];
    z[2 * a] += z[2 * b];
    z[2 * a + 1] += z[2 * b + 1];
    z[2 * b] = re;
    z[2 * b + 1] = im;
}

/** The same with z[b] first turned by (wr, wi); the product stays wide */
void butterfly_turned(float *z, int a, int b, wide_t wr, wide_t wi) noexcept
{
    const wide_t tr = wr * wide(z[2 * b]) - wi * wide(z[2 * b + 1]);
    const wide_t ti = wr * wide(z[2 * b + 1]) + wi * wide(z[2 * b]);
    z[2 * b] = rounded(wide(z[2 * a]) - tr);
    z[2 * b + 1] = rounded(wide(z[2 * a + 1]) - ti);
    z[2 * a] = rounded(wide(z[2 * a]) + tr);
    z[2 * a + 1] = rounded(wide(z[2 * a + 1]) + ti);
}

/** All butterfly stages over h complex elements in bit-reversed order
 *  Only small transforms come here: not worth the room that a fast form would take.
 *  sign  I  1 for the factors as they stand, -1 for their conjugates                                                */
[[gnu::cold]] void butterfly_stages(float *z, int h, int size_max, const Complex *twiddle, float sign) noexcept
{
    for (int k = 0; k < h; k += 2)
        butterfly(z, k, k + 1);
    for (int m = 2; m < h; m *= 2) {
        const int stride = size_max / (2 * m);
        for (int i = 0; i < h; i += 2 * m) {
            butterfly(z, i, i + m);
            for (int t = 1; t < m; t++) {
                const Complex w = twiddle[t * stride];
                butterfly_turned(z, i + t, i + t + m, wide(w.re), wide(sign * w.im));
            }
        }
    }
}

/** Turning by a quarter circle changes nothing but signs and places in the rounded table, which last_stages() uses. */
constexpr bool quarter_turns_are_exact() noexcept
{
    constexpr Table<Complex, FFT_MAX> twiddle = make_twiddle();
    for (int t = 0; t < FFT_MAX / 4; t++)
        if (twiddle.entry[t + FFT_MAX / 4].re != twiddle.entry[t].im ||
            twiddle.entry[t + FFT_MAX / 4].im != -twiddle.entry[t].re)
            return false;
    return true;
}
static_assert(quarter_turns_are_exact());

constexpr int WIDE_MIN = 32; /* smallest size of the wide transforms */

TALV_INLINE Factors factors_of(int h) noexcept
{
    const wide_t *f = h == 16 ? fft_factors<wide_t, 16> : h == 32 ? fft_factors<wide_t, 32> : fft_factors<wide_t, 64>;
    const int q = h / 4;
    return {f, f + 2 * q, f + 4 * q, f + 5 * q, f + 6 * q, f + 7 * q};
}

/** All stages but the last two; the result lies where the return value points */
template <Direction direction>
TALV_INLINE const Planes *early_stages(Planes (&work)[2], int h) noexcept
{
    first_stages<direction>(work[0], h, work[1]);
    int from = 1;
    if (h >= 64) {
        middle_stage<direction, 8>(work[from], h, work[1 - from]);
        from = 1 - from;
    }
    if (h >= 32) {
        middle_stage<direction, 4>(work[from], h, work[1 - from]);
        from = 1 - from;
    }
    return &work[from];
}

/** real_fft for 32, 64 and 128 points and the standard tables */
void real_fft_wide(const float *samples, Complex *spectrum, int n) noexcept
{
    const int h = n / 2, q = n / 4;
    const Factors factors = factors_of(h);
    Planes work[2];
    for (int k = 0; k < h; k += LANES) {
        const Float4 x = load4(samples + 2 * k), y = load4(samples + 2 * k + 4);
        store4(work[0].re + k, even_lanes(x, y));
        store4(work[0].im + k, odd_lanes(x, y));
    }
    const Planes *stages = early_stages<Direction::FORWARD>(work, h);
    Planes &z = work[stages == &work[0] ? 1 : 0];
    for (int t = 0; t < h / 4; t += LANES) {
        const Quarters out = last_stages<Direction::FORWARD>(*stages, t, factors);
        for (int i = 0; i < 4; i++) {
            store4(z.re + t + i * h / 4, out.re[i]);
            store4(z.im + t + i * h / 4, out.im[i]);
        }
    }

    float *out = &spectrum[0].re;
    const float z0r = z.re[0], z0i = z.im[0], zqr = z.re[q], zqi = z.im[q];
    for (int k = 1; k < q; k += LANES) {
        const Wide4 xr = load_wide(z.re + k), xi = load_wide(z.im + k);
        const Wide4 yr = widened(reversed(load4(z.re + h - k - 3))), yi = widened(reversed(load4(z.im + h - k - 3)));
        const Wide4 wr = load(factors.merge_re + k - 1), wi = load(factors.merge_im + k - 1);
        const Wide4 half = broadcast(0.5);
        const Wide4 F = (xi + yi) * wr - (yr - xr) * wi;
        const Wide4 G = (yr - xr) * wr + (xi + yi) * wi;
        const Float4 low_r = narrowed(half * (xr + yr + F)), low_i = narrowed(half * ((xi - yi) + G));
        const Float4 high_r = reversed(narrowed(half * (xr + yr - F)));
        const Float4 high_i = reversed(narrowed(half * (G - (xi - yi))));
        store4(out + 2 * k, interleave_low(low_r, low_i));
        store4(out + 2 * k + 4, interleave_high(low_r, low_i));
        store4(out + 2 * (h - k - 3), interleave_low(high_r, high_i));
        store4(out + 2 * (h - k - 3) + 4, interleave_high(high_r, high_i));
    }
    spectrum[0] = {z0r + z0i, 0.0f};
    spectrum[h] = {z0r - z0i, 0.0f};
    spectrum[q] = {zqr, -zqi};
}

/** real_ifft for 32, 64 and 128 points and the standard tables */
void real_ifft_wide(const Spectrum &spectrum, float *samples, int n) noexcept
{
    const int h = n / 2, q = n / 4;
    const Factors factors = factors_of(h);
    const float *re = spectrum.re, *im = spectrum.im;
    Planes work[2];
    Planes &z = work[0];
    /* Groups of four from k = 1 on. The lower ones are moved up by a place before they are stored, so that later stages
     * find them as they were stored; the last group's k = n/4 is its own mirror image and comes with the upper one. */
    Float4 low_re = {0.0f, 0.0f, 0.0f, re[0] + re[h]};
    Float4 low_im = {0.0f, 0.0f, 0.0f, re[0] - re[h]};
    for (int k = 1; k < q; k += LANES) {
        const int mirror = h - k - 3;
        const Wide4 xr = load_wide(re + k), xi = load_wide(im + k);
        const Wide4 yr = load_wide_reversed(re + mirror), yi = load_wide_reversed(im + mirror);
        const Wide4 wr = load(factors.merge_re + k - 1), wi = load(factors.merge_im + k - 1);
        const Wide4 sum = xr + yr, difference = xr - yr;
        const Wide4 sum_im = xi + yi, difference_im = xi - yi;
        const Wide4 F = sum_im * wr - difference * wi;
        const Wide4 G = difference * wr + sum_im * wi;
        const Float4 next_re = narrowed(sum - F), next_im = narrowed(G + difference_im);
        store4(z.re + k - 1, last_and_three(low_re, next_re));
        store4(z.im + k - 1, last_and_three(low_im, next_im));
        low_re = next_re;
        low_im = next_im;
        store_rounded_reversed(z.re + mirror, sum + F);
        store_rounded_reversed(z.im + mirror, G - difference_im);
    }

    const Planes *stages = early_stages<Direction::INVERSE>(work, h);
    const float r = 1.0f / static_cast<float>(n);
    const Float4 scale = {r, r, r, r};
    for (int t = 0; t < h / 4; t += LANES) {
        const Quarters out = last_stages<Direction::INVERSE>(*stages, t, factors);
        for (int i = 0; i < 4; i++) {
            float *at = samples + 2 * (t + i * h / 4);
            store4(at, scale * interleave_low(out.re[i], out.im[i]));
            store4(at + 4, scale * interleave_high(out.re[i], out.im[i]));
        }
    }
}

} // namespace

void real_fft(const float *samples, Complex *spectrum, int n, int size_max, const int32_t *bitrev,
              const Complex *twiddle) noexcept
{
    if (n >= WIDE_MIN && size_max == FFT_MAX && bitrev == fft_bitrev.entry && twiddle == fft_twiddle.entry) {
        real_fft_wide(samples, spectrum, n);
        return;
    }
    const int h = n / 2;
    const int q = n / 4;
    const int S = size_max / n;

    /* Pack: even samples become real parts, odd ones imaginary parts, in bit-reversed order. */
    for (int k = 0; k < h; k++) {
        const int b = bitrev[k * S];
        spectrum[k] = {samples[b], samples[b + 1]};
    }
    butterfly_stages(&spectrum[0].re, h, size_max, twiddle, 1.0f);

    /* Split the packed transform into the bins of the real sequence. */
    const Complex z0 = spectrum[0];
    spectrum[0] = {z0.re + z0.im, 0.0f};
    spectrum[h] = {z0.re - z0.im, 0.0f};
    spectrum[q].im = -spectrum[q].im;
    for (int k = 1; k < q; k++) {
        const wide_t xr = wide(spectrum[k].re), xi = wide(spectrum[k].im);
        const wide_t yr = wide(spectrum[h - k].re), yi = wide(spectrum[h - k].im);
        const wide_t wr = wide(twiddle[k * S].re), wi = wide(twiddle[k * S].im);
        const wide_t F = (xi + yi) * wr - (yr - xr) * wi;
        const wide_t G = (yr - xr) * wr + (xi + yi) * wi;
        spectrum[k] = {rounded(wide(0.5) * (xr + yr + F)), rounded(wide(0.5) * ((xi - yi) + G))};
        spectrum[h - k] = {rounded(wide(0.5) * (xr + yr - F)), rounded(wide(0.5) * (G - (xi - yi)))};
    }
}

namespace
{

/** real_ifft for any size and tables */
[[gnu::cold]] void real_ifft_plain(const Spectrum *spectrum, float *samples, int n, int size_max, const int32_t *bitrev,
                                   const Complex *twiddle) noexcept
{
    const int h = n / 2;
    const int q = n / 4;
    const int S = size_max / n;
    const float r = 1.0f / static_cast<float>(n);

    /* Merge the bins into twice the packed transform, each value straight to its bit-reversed place. */
    const float *re = spectrum->re, *im = spectrum->im;
    samples[0] = re[0] + re[h];
    samples[1] = re[0] - re[h];
    const int middle = bitrev[q * S];
    samples[middle] = 2.0f * re[q];
    samples[middle + 1] = -2.0f * im[q];
    for (int k = 1; k < q; k++) {
        const wide_t xr = wide(re[k]), xi = wide(im[k]);
        const wide_t yr = wide(re[h - k]), yi = wide(im[h - k]);
        const wide_t wr = wide(twiddle[k * S].re), wi = wide(twiddle[k * S].im);
        const wide_t F = (xi + yi) * wr - (xr - yr) * wi;
        const wide_t G = (xr - yr) * wr + (xi + yi) * wi;
        float *low = samples + bitrev[k * S];
        float *high = samples + bitrev[(h - k) * S];
        low[0] = rounded((xr + yr) - F);
        low[1] = rounded(G + (xi - yi));
        high[0] = rounded((xr + yr) + F);
        high[1] = rounded(G - (xi - yi));
    }
    butterfly_stages(samples, h, size_max, twiddle, -1.0f);
    for (int i = 0; i < n; i++)
        samples[i] *= r;
}

} // namespace

void real_ifft(const Spectrum *spectrum, float *samples, int n, int size_max, const int32_t *bitrev,
               const Complex *twiddle) noexcept
{
    if (n >= WIDE_MIN && size_max == FFT_MAX && bitrev == fft_bitrev.entry && twiddle == fft_twiddle.entry) {
        real_ifft_wide(*spectrum, samples, n);
        return;
    }
    real_ifft_plain(spectrum, samples, n, size_max, bitrev, twiddle);
}

} // namespace talv::inline TALV_TARGET
