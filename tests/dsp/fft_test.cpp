/* The transform pair against the sums that define it, in long double. */
#include "dsp/fft.h"

#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace talv
{
namespace
{

constexpr float UNTOUCHED = -12345.0f;

/** Bins 0 to n/2 with a guard behind them */
std::vector<Complex> forward(const std::vector<float> &x)
{
    const int n = static_cast<int>(x.size());
    std::vector<Complex> spectrum(x.size() / 2 + 2, Complex{UNTOUCHED, UNTOUCHED});
    real_fft(x.data(), spectrum.data(), n, FFT_MAX, fft_bitrev, fft_twiddle);
    EXPECT_EQ(spectrum.back().re, UNTOUCHED) << "wrote behind bin n/2";
    EXPECT_EQ(spectrum.back().im, UNTOUCHED) << "wrote behind bin n/2";
    spectrum.pop_back();
    return spectrum;
}

std::vector<float> inverse(const std::vector<Complex> &spectrum)
{
    const size_t n = 2 * (spectrum.size() - 1);
    std::vector<float> x(n + 1, UNTOUCHED);
    Spectrum planes;
    for (size_t k = 0; k < spectrum.size(); k++) {
        planes.re[k] = spectrum[k].re;
        planes.im[k] = spectrum[k].im;
    }
    real_ifft(&planes, x.data(), static_cast<int>(n), FFT_MAX, fft_bitrev, fft_twiddle);
    EXPECT_EQ(x.back(), UNTOUCHED) << "wrote behind the last sample";
    x.pop_back();
    return x;
}

TEST(FftTables, FollowTheirFormulas)
{
    for (int k = 0; k < FFT_MAX; k++) {
        int reversed = 0;
        for (int bit = 0; bit < 7; bit++)
            reversed |= (k >> bit & 1) << (6 - bit);
        EXPECT_EQ(fft_bitrev[k], reversed) << "entry " << k;
    }
    for (int t = 0; t < FFT_MAX; t++) {
        const long double angle = 2.0L * test::PI_L * t / FFT_MAX;
        const float parts[2] = {fft_twiddle[t].re, fft_twiddle[t].im};
        const long double exact[2] = {std::cos(angle), -std::sin(angle)};
        for (int part = 0; part < 2; part++) {
            EXPECT_NEAR(static_cast<double>(parts[part]), static_cast<double>(exact[part]), 3.2e-6) << "entry " << t;
            /* six decimals, then the nearest float */
            EXPECT_EQ(parts[part], static_cast<float>(std::round(static_cast<double>(parts[part]) * 1e6) / 1e6))
                << "entry " << t;
        }
    }
}

TEST(RealFft, EqualsTheSumThatDefinesIt)
{
    for (int n = 4; n <= FFT_MAX; n *= 2)
        for (uint64_t seed = 600; seed < 610; seed++) {
            SCOPED_TRACE(test::seed_note(seed) + ", size " + std::to_string(n));
            const std::vector<float> x = test::noise(n, 1000.0, seed);
            const std::vector<Complex> got = forward(x);
            long double sum_of_sizes = 0.0L;
            for (float v : x)
                sum_of_sizes += std::fabs(test::exact(v));
            /* a twiddle is off by 5e-7 at most, and a sample meets up to log2(n) of them */
            const double tolerance = static_cast<double>(sum_of_sizes) * 1e-6;
            for (int k = 0; k <= n / 2; k++) {
                long double re = 0.0L, im = 0.0L;
                for (int i = 0; i < n; i++) {
                    const long double angle = -2.0L * test::PI_L * (i * k % n) / n;
                    re += test::exact(x[static_cast<size_t>(i)]) * std::cos(angle);
                    im += test::exact(x[static_cast<size_t>(i)]) * std::sin(angle);
                }
                const Complex bin = got[static_cast<size_t>(k)];
                EXPECT_NEAR(static_cast<double>(bin.re), static_cast<double>(re), tolerance) << "bin " << k;
                EXPECT_NEAR(static_cast<double>(bin.im), static_cast<double>(im), tolerance) << "bin " << k;
            }
            EXPECT_EQ(got.front().im, 0.0f);
            EXPECT_EQ(got.back().im, 0.0f);
        }
}

TEST(RealIfft, EqualsTheSumThatDefinesIt)
{
    for (int n = 4; n <= FFT_MAX; n *= 2)
        for (uint64_t seed = 620; seed < 630; seed++) {
            SCOPED_TRACE(test::seed_note(seed) + ", size " + std::to_string(n));
            const std::vector<float> parts = test::noise(n + 2, 1000.0, seed);
            std::vector<Complex> spectrum(static_cast<size_t>(n / 2 + 1));
            for (size_t k = 0; k < spectrum.size(); k++)
                spectrum[k] = {parts[2 * k], parts[2 * k + 1]};
            /* the imaginary parts of bins 0 and n/2 are not to be read: a NaN there must not come through */
            spectrum.front().im = std::numeric_limits<float>::quiet_NaN();
            spectrum.back().im = std::numeric_limits<float>::quiet_NaN();
            const std::vector<Complex> before = spectrum;
            const std::vector<float> got = inverse(spectrum);
            for (size_t k = 0; k < spectrum.size(); k++)
                ASSERT_TRUE(test::same_bits(&spectrum[k].re, &before[k].re, 1) &&
                            test::same_bits(&spectrum[k].im, &before[k].im, 1))
                    << "bin " << k << " was changed";

            long double sum_of_sizes = 0.0L;
            for (float v : parts)
                sum_of_sizes += 2.0L * std::fabs(test::exact(v));
            const double tolerance = static_cast<double>(sum_of_sizes) / n * 1e-6;
            for (int i = 0; i < n; i++) {
                long double x =
                    test::exact(spectrum.front().re) + (i % 2 == 0 ? 1.0L : -1.0L) * test::exact(spectrum.back().re);
                for (int k = 1; k < n / 2; k++) {
                    const long double angle = 2.0L * test::PI_L * (i * k % n) / n;
                    const Complex bin = spectrum[static_cast<size_t>(k)];
                    x += 2.0L * (test::exact(bin.re) * std::cos(angle) - test::exact(bin.im) * std::sin(angle));
                }
                EXPECT_NEAR(static_cast<double>(got[static_cast<size_t>(i)]), static_cast<double>(x / n), tolerance)
                    << "sample " << i;
            }
        }
}

} // namespace
} // namespace talv
