#include "dsp/fft.h"

#include "dsp/trig.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
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

} // namespace

constexpr Table<int32_t, FFT_MAX> fft_bitrev = make_bitrev();
constexpr Table<Complex, FFT_MAX> fft_twiddle = make_twiddle();

namespace
{

enum class Direction { FORWARD, INVERSE };

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
void butterfly_turned(float *z, int a, int b, double wr, double wi) noexcept
{
    const double tr = wr * wide(z[2 * b]) - wi * wide(z[2 * b + 1]);
    const double ti = wr * wide(z[2 * b + 1]) + wi * wide(z[2 * b]);
    z[2 * b] = rounded(wide(z[2 * a]) - tr);
    z[2 * b + 1] = rounded(wide(z[2 * a + 1]) - ti);
    z[2 * a] = rounded(wide(z[2 * a]) + tr);
    z[2 * a + 1] = rounded(wide(z[2 * a + 1]) + ti);
}

/** All butterfly stages over h complex elements in bit-reversed order */
template <Direction direction>
void butterfly_stages(float *z, int h, int size_max, const Complex *twiddle) noexcept
{
    for (int k = 0; k < h; k += 2)
        butterfly(z, k, k + 1);
    for (int m = 2; m < h; m *= 2) {
        const int stride = size_max / (2 * m);
        for (int i = 0; i < h; i += 2 * m) {
            butterfly(z, i, i + m);
            for (int t = 1; t < m; t++) {
                const Complex w = twiddle[t * stride];
                const double wi = wide(direction == Direction::FORWARD ? w.im : -w.im);
                butterfly_turned(z, i + t, i + t + m, wide(w.re), wi);
            }
        }
    }
}

} // namespace

void real_fft(const float *samples, Complex *spectrum, int n, int size_max, const int32_t *bitrev,
              const Complex *twiddle) noexcept
{
    const int h = n / 2;
    const int q = n / 4;
    const int S = size_max / n;

    /* Pack: even samples become real parts, odd ones imaginary parts, in bit-reversed order. */
    for (int k = 0; k < h; k++) {
        const int b = bitrev[k * S];
        spectrum[k] = {samples[b], samples[b + 1]};
    }
    butterfly_stages<Direction::FORWARD>(&spectrum[0].re, h, size_max, twiddle);

    /* Split the packed transform into the bins of the real sequence. */
    const Complex z0 = spectrum[0];
    spectrum[0] = {z0.re + z0.im, 0.0f};
    spectrum[h] = {z0.re - z0.im, 0.0f};
    spectrum[q].im = -spectrum[q].im;
    for (int k = 1; k < q; k++) {
        const double xr = wide(spectrum[k].re), xi = wide(spectrum[k].im);
        const double yr = wide(spectrum[h - k].re), yi = wide(spectrum[h - k].im);
        const double wr = wide(twiddle[k * S].re), wi = wide(twiddle[k * S].im);
        const double F = (xi + yi) * wr - (yr - xr) * wi;
        const double G = (yr - xr) * wr + (xi + yi) * wi;
        spectrum[k] = {rounded(0.5 * (xr + yr + F)), rounded(0.5 * ((xi - yi) + G))};
        spectrum[h - k] = {rounded(0.5 * (xr + yr - F)), rounded(0.5 * (G - (xi - yi)))};
    }
}

void real_ifft(const Complex *spectrum, float *samples, int n, int size_max, const int32_t *bitrev,
               const Complex *twiddle) noexcept
{
    const int h = n / 2;
    const int q = n / 4;
    const int S = size_max / n;
    const float r = 1.0f / static_cast<float>(n);

    /* Merge the bins into twice the packed transform, each value straight to its bit-reversed place. */
    samples[0] = spectrum[0].re + spectrum[h].re;
    samples[1] = spectrum[0].re - spectrum[h].re;
    const int middle = bitrev[q * S];
    samples[middle] = 2.0f * spectrum[q].re;
    samples[middle + 1] = -2.0f * spectrum[q].im;
    for (int k = 1; k < q; k++) {
        const double xr = wide(spectrum[k].re), xi = wide(spectrum[k].im);
        const double yr = wide(spectrum[h - k].re), yi = wide(spectrum[h - k].im);
        const double wr = wide(twiddle[k * S].re), wi = wide(twiddle[k * S].im);
        const double F = (xi + yi) * wr - (xr - yr) * wi;
        const double G = (xr - yr) * wr + (xi + yi) * wi;
        float *low = samples + bitrev[k * S];
        float *high = samples + bitrev[(h - k) * S];
        low[0] = rounded((xr + yr) - F);
        low[1] = rounded(G + (xi - yi));
        high[0] = rounded((xr + yr) + F);
        high[1] = rounded(G - (xi - yi));
    }
    butterfly_stages<Direction::INVERSE>(samples, h, size_max, twiddle);
    for (int i = 0; i < n; i++)
        samples[i] *= r;
}

} // namespace talv::inline TALV_TARGET
