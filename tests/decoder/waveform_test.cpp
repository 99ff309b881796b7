/** Characteristic waveform synthesis: each step against its formula, and the worked subframe through all of them */
#include "decoder/waveform.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

namespace
{

using namespace talv;
using test::PI_L;
using Wide = std::complex<long double>;

Wide wide_of(Complex v)
{
    return {static_cast<long double>(v.re), static_cast<long double>(v.im)};
}

Complex bin(const Spectrum &spectrum, int k)
{
    return {spectrum.re[k], spectrum.im[k]};
}

void set_bin(Spectrum &spectrum, int k, Complex v)
{
    spectrum.re[k] = v.re;
    spectrum.im[k] = v.im;
}

Spectrum filled(Complex v)
{
    Spectrum spectrum;
    for (int k = 0; k < SPECTRUM_ROOM; k++)
        set_bin(spectrum, k, v);
    return spectrum;
}

::testing::AssertionResult near_complex(Complex got, double re, double im, double tolerance)
{
    if (std::fabs(static_cast<double>(got.re) - re) <= tolerance &&
        std::fabs(static_cast<double>(got.im) - im) <= tolerance)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got (" << got.re << ", " << got.im << "), wanted (" << re << ", " << im
                                         << ") within " << tolerance;
}

int grid_size(int p)
{
    int32_t n = -1;
    fft_size_for(p, FFT_MAX, &n);
    return n;
}

TEST(WaveformTables, Checksums)
{
    EXPECT_EQ(test::table_checksum(noise_poly_table[0], 10 * 4), 0xC46A9A1Au);
    EXPECT_EQ(test::table_checksum(&phase_table[0].re, 2 * PHASES), 0x3D3F70EFu);
    EXPECT_EQ(test::table_checksum(&spline_table[0].re, 2 * (FFT_MAX / 2 + 1)), 0x739B4F54u);
}

TEST(WaveformTables, Shapes)
{
    for (int i = 0; i < PHASES; i++)
        EXPECT_NEAR(static_cast<double>(std::abs(wide_of(phase_table[i]))), 1.0, 0.007) << "phase " << i;
    for (int i = 0; i <= FFT_MAX / 2; i++) {
        const double want = 1.0 / (4.0 + 2.0 * std::cos(2.0 * static_cast<double>(PI_L) * i / 128.0));
        EXPECT_NEAR(static_cast<double>(spline_table[i].re), want, 1.1e-6) << "entry " << i;
        EXPECT_EQ(spline_table[i].im, i == 63 ? 0.000001f : 0.0f) << "entry " << i;
    }
    /* At the top harmonic the noise weight grows with the periodicity value and is complete from row 4 on. */
    const double top[10] = {0.50, 0.61, 0.72, 0.84, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0};
    for (int i = 0; i < 10; i++) {
        double sum = 0.0;
        for (const float c : noise_poly_table[i])
            sum += static_cast<double>(c);
        EXPECT_NEAR(sum, top[i], 1e-7) << "row " << i;
    }
}

/** The ten cubics, from the rows of the table */
double noise_cubic(int row, double w)
{
    double v = 0.0;
    for (int j = 3; j >= 0; j--)
        v = v * w + static_cast<double>(noise_poly_table[row][j]);
    return v;
}

TEST(NoiseProfile, MixOfTwoCubics)
{
    for (const int h : {10, 11, 25, 36, 73, 80})
        for (int step = 0; step <= 1000; step++) {
            const float rs = static_cast<float>(step) / 1000.0f;
            std::vector<float> out(MAX_HARMONICS + 5, -7.0f);
            noise_profile(h, MAX_HARMONICS, rs, out.data());
            double x = 9.0 * static_cast<double>(rs);
            x = x >= 9.0 ? 8.995 : x;
            const int row = std::min(static_cast<int>(x), 8);
            ASSERT_EQ(out[0], 0.0f);
            for (int k = 1; k <= MAX_HARMONICS; k++) {
                const double w = static_cast<double>(k) / h;
                const double want =
                    k > h ? 0.0 : (row + 1 - x) * noise_cubic(row, w) + (x - row) * noise_cubic(row + 1, w);
                ASSERT_NEAR(static_cast<double>(out[static_cast<size_t>(k)]), want, k > h ? 0.0 : 1e-5)
                    << "h " << h << ", rs " << rs << ", harmonic " << k;
            }
            ASSERT_EQ(out[MAX_HARMONICS + 4], -7.0f) << "wrote past the last group";
        }
}

TEST(AmpProfile, ThreeRanges)
{
    float as[AS_DIM];
    for (int d = 0; d < AS_DIM; d++)
        as[d] = 0.25f + 0.25f * static_cast<float>(d);
    for (int h = LAG_MIN / 2; h <= LAG_MAX_FRAME / 2; h++) {
        std::vector<float> out(MAX_HARMONICS + 5, -7.0f);
        amp_profile(AS_DIM, as, h, MAX_HARMONICS, out.data());
        EXPECT_EQ(out[0], 0.0f);
        for (int k = 1; k <= MAX_HARMONICS; k++)
            ASSERT_EQ(out[static_cast<size_t>(k)], k <= 10  ? as[k - 1]
                                                   : k <= h ? 1.0f
                                                            : 0.0f)
                << "h " << h << ", harmonic " << k;
        EXPECT_EQ(out[MAX_HARMONICS + 4], -7.0f) << "wrote past the last group";
    }
}

TEST(FftSizeFor, SmallestPowerOfTwo)
{
    int32_t n = -1;
    fft_size_for(100, 64, &n);
    EXPECT_EQ(n, 64);
    for (int p = LAG_MIN; p <= LAG_MAX_FRAME; p++)
        EXPECT_EQ(grid_size(p), p <= 32 ? 32 : p <= 64 ? 64 : 128) << "lag " << p;
}

TEST(TiltedPoly, AgainstPlainProduct)
{
    const uint64_t seed = 42;
    SCOPED_TRACE(test::seed_note(seed));
    test::Random random(seed);
    for (int trial = 0; trial < 200; trial++) {
        float lpc[LPC_ORDER], poly[POLY_TERMS + 1];
        poly[POLY_TERMS] = -7.0f;
        const float c1 = static_cast<float>(random.uniform(-2.0, 2.0)), c2 = static_cast<float>(random.uniform(-1, 1));
        std::vector<double> want = {1.0, static_cast<double>(c1), static_cast<double>(c2)};
        want.resize(POLY_TERMS);
        for (size_t j = 0; j < LPC_ORDER; j++) {
            lpc[j] = static_cast<float>(random.uniform(-4.0, 4.0));
            want[j + 1] += static_cast<double>(lpc[j]);
            want[j + 2] += static_cast<double>(lpc[j]) * static_cast<double>(c1);
            want[j + 3] += static_cast<double>(lpc[j]) * static_cast<double>(c2);
        }
        tilted_poly(lpc, c1, c2, poly);
        ASSERT_TRUE(test::all_near(poly, want.data(), POLY_TERMS, 2e-6)) << "trial " << trial;
        ASSERT_EQ(poly[POLY_TERMS], -7.0f) << "wrote past the end";
    }
}

/** The steps of the noise generator: seed = (seed + 1) 17 mod 4096 */
TEST(MixExcitation, NoiseGenerator)
{
    const float one[5] = {0.0f, 1.0f};
    const uint32_t want[10] = {834, 1907, 3764, 2565, 2662, 215, 3672, 1001, 650, 2875};
    uint32_t seed = 4385;
    Spectrum out;
    for (int i = 0; i < 10; i++) {
        mix_excitation(&seed, 1, one, one, &out);
        EXPECT_EQ(seed, want[i]) << "step " << i;
        EXPECT_EQ(out.re[1], phase_table[want[i] / 32].re) << "step " << i;
        EXPECT_EQ(out.im[1], phase_table[want[i] / 32].im) << "step " << i;
    }

    /* h steps a call, whatever the weights: ten at once are the ten above */
    seed = 4385;
    const std::vector<float> some(SPECTRUM_ROOM, 0.5f);
    mix_excitation(&seed, 10, some.data(), some.data(), &out);
    EXPECT_EQ(seed, want[9]);
}

TEST(MixExcitation, PeriodicAndNoiseParts)
{
    const int h = LAG_MAX_FRAME / 2;
    std::vector<float> amp(SPECTRUM_ROOM), noise(SPECTRUM_ROOM, 0.0f);
    for (int k = 0; k <= h; k++)
        amp[static_cast<size_t>(k)] = static_cast<float>(k) * 0.125f;
    Spectrum out;

    /* No noise: the fixed phases, at the full magnitude. */
    uint32_t seed = 1;
    mix_excitation(&seed, h, amp.data(), noise.data(), &out);
    EXPECT_TRUE(near_complex(bin(out, 0), 0.0, 0.0, 0.0));
    for (int k = 1; k <= h; k++) {
        const double a = static_cast<double>(amp[static_cast<size_t>(k)]);
        EXPECT_TRUE(near_complex(bin(out, k), a * static_cast<double>(phase_table[k - 1].re),
                                 a * static_cast<double>(phase_table[k - 1].im), 1e-6))
            << "harmonic " << k;
    }

    /* More noise than there is magnitude: no periodic part, neither negative, and the noise in full. Above: a sum. */
    std::fill(noise.begin(), noise.end(), 3.0f);
    seed = 1;
    mix_excitation(&seed, h, amp.data(), noise.data(), &out);
    uint32_t s = 1;
    for (int k = 1; k <= h; k++) {
        s = ((s + 1) * 17) % 4096;
        const double v = std::max(static_cast<double>(amp[static_cast<size_t>(k)]) - 3.0, 0.0);
        const Complex P = phase_table[k - 1], Q = phase_table[s / 32];
        EXPECT_TRUE(near_complex(bin(out, k), v * static_cast<double>(P.re) + 3.0 * static_cast<double>(Q.re),
                                 v * static_cast<double>(P.im) + 3.0 * static_cast<double>(Q.im), 2e-6))
            << "harmonic " << k;
    }
}

/** A random excitation and a random envelope polynomial at the harmonics of a lag */
struct Spectra {
    int p, h, n;
    Spectrum exc, lpc, cycle = filled({-7.0f, -7.0f});

    Spectra(int lag, uint64_t seed) : p(lag), h(lag / 2), n(grid_size(lag))
    {
        test::Random random(seed);
        for (int k = 0; k < SPECTRUM_ROOM; k++) {
            const double a = random.uniform(0.2, 5.0), b = random.uniform(-3.14, 3.14);
            const double c = random.uniform(-1.0, 1.0), d = random.uniform(-1.0, 1.0);
            set_bin(lpc, k, {static_cast<float>(a * std::cos(b)), static_cast<float>(a * std::sin(b))});
            set_bin(exc, k, {static_cast<float>(c), static_cast<float>(d)});
        }
        set_bin(exc, 0, {0.0f, 0.0f});
    }

    float scale(double g) const { return static_cast<float>(n * g * static_cast<double>(CYCLE_LEVEL) / p); }

    std::vector<float> inverse() const
    {
        std::vector<float> x(static_cast<size_t>(n));
        real_ifft(&cycle, x.data(), n, FFT_MAX, fft_bitrev, fft_twiddle);
        return x;
    }
};

double rms(const std::vector<float> &x)
{
    double sum = 0.0;
    for (const float v : x)
        sum += static_cast<double>(v) * static_cast<double>(v);
    return std::sqrt(sum / static_cast<double>(x.size()));
}

TEST(SpectrumShape, QuotientTimesOneFactor)
{
    for (const int p : {20, 21, 32, 50, 64, 101, 128, 147}) {
        Spectra s(p, static_cast<uint64_t>(p));
        SCOPED_TRACE("lag and seed " + std::to_string(p));
        spectrum_shape(s.h, &s.exc, &s.lpc, s.scale(250.0), &s.cycle);
        long double energy = 0.0L;
        for (int k = 1; k <= s.h; k++) {
            const Wide q = wide_of(bin(s.exc, k)) / wide_of(bin(s.lpc, k));
            energy += k < s.h ? std::norm(q) : 0.5L * q.real() * q.real();
        }
        const long double factor = s.h * static_cast<long double>(s.scale(250.0)) * std::sqrt(2.0L / energy);
        for (int k = 0; k <= s.h; k++) {
            const Wide want = factor * wide_of(bin(s.exc, k)) / wide_of(bin(s.lpc, k));
            ASSERT_TRUE(near_complex(bin(s.cycle, k), static_cast<double>(want.real()),
                                     static_cast<double>(want.imag()),
                                     1e-6 * static_cast<double>(std::abs(want)) + 1e-5))
                << "harmonic " << k;
        }
        const int end = (s.h + 3) / 4 * 4 + 1;
        EXPECT_TRUE(end == SPECTRUM_ROOM || s.cycle.re[end] == -7.0f) << "wrote past the last group";
    }
}

/** The level of a cycle: exactly 0.6 of the gain where grid and lag are one, and close to it elsewhere */
TEST(SpectrumShape, CycleLevel)
{
    for (int p = LAG_MIN; p <= FFT_MAX; p++) {
        Spectra s(p, 1000 + static_cast<uint64_t>(p));
        SCOPED_TRACE("lag " + std::to_string(p) + ", seed " + std::to_string(1000 + p));
        spectrum_shape(s.h, &s.exc, &s.lpc, s.scale(1000.0), &s.cycle);
        /* Only the top harmonic is not counted as it comes out: by its real part alone, at half its weight, where the
         * grid is longer than the cycle. What it may add or lack bounds the error. */
        const long double top = std::norm(wide_of(bin(s.cycle, s.h)));
        spectrum_trim(s.p, s.n, &s.cycle);
        const double level = rms(s.inverse());
        const double share = 2.0 * s.h / p; /* an odd lag falls short by its odd sample */
        if (s.n == p) {
            EXPECT_NEAR(level, 600.0, 600.0 * 1e-5);
        } else {
            EXPECT_NEAR(level * level, 360000.0 * share * share, static_cast<double>(2.0L * top) / s.n / s.n + 5.0);
        }
    }
}

TEST(SpectrumShape, SilenceAndVanishingEnvelope)
{
    for (const char *nothing : {"scale", "envelope", "excitation"}) {
        Spectra s(50, 5);
        if (nothing[1] == 'n')
            s.lpc = filled({0.0f, 0.0f});
        if (nothing[1] == 'x')
            s.exc = filled({0.0f, 0.0f});
        spectrum_shape(s.h, &s.exc, &s.lpc, nothing[1] == 'c' ? 0.0f : 100.0f, &s.cycle);
        for (int k = 0; k <= s.h; k++)
            EXPECT_TRUE(near_complex(bin(s.cycle, k), 0.0, 0.0, 0.0)) << "no " << nothing << ", harmonic " << k;
    }
}

TEST(SpectrumTrim, EveryLag)
{
    for (int p = LAG_MIN; p <= LAG_MAX_FRAME; p++) {
        const int h = p / 2, n = grid_size(p);
        Spectrum bins;
        for (int k = 0; k < SPECTRUM_ROOM; k++)
            set_bin(bins, k, {static_cast<float>(k + 1), -static_cast<float>(2 * k + 1)});
        const Spectrum before = bins;
        spectrum_trim(p, n, &bins);
        for (int k = 0; k < SPECTRUM_ROOM; k++) {
            float weight = 1.0f;
            if (n > p && k > h && k <= n / 2)
                weight = 0.0f;
            if (n > p && k > n / 2 && k <= n / 2 + 3) /* what fills up the last group of four */
                continue;
            if (n > p && k == h && p % 2 == 0)
                weight = 0.5f;
            const Complex was = bin(before, k);
            ASSERT_TRUE(near_complex(bin(bins, k), static_cast<double>(weight * was.re),
                                     static_cast<double>(weight * was.im), 0.0))
                << "lag " << p << ", bin " << k;
        }
    }
}

TEST(SplinePrefilter, StrideAndReach)
{
    for (const int n : {32, 64, 128}) {
        Spectrum bins = filled({2.0f, 4.0f});
        spline_prefilter(FFT_MAX, spline_table, n, &bins);
        for (int k = 0; k < SPECTRUM_ROOM; k++) {
            if (k > n / 2 && k <= n / 2 + 3) /* the rest of the last group */
                continue;
            const double t = k <= n / 2 ? static_cast<double>(spline_table[k * (FFT_MAX / n)].re) : 1.0;
            const double skew = n == 128 && k == 63 ? 1e-6 : 0.0; /* the one entry with an imaginary part */
            EXPECT_TRUE(near_complex(bin(bins, k), 2.0 * t - 4.0 * skew, 4.0 * t + 2.0 * skew, 2e-7))
                << "grid " << n << ", bin " << k;
        }
    }
}

/** What the decoder calls against the single steps, to the last bit, one subframe and two of a lag. Every third lag has
 *  most of its energy in the edge bin, so that the energy below is added up as it is defined. */
TEST(CycleSpectrum, InOneGoIsTheSteps)
{
    uint32_t seed = 4385, seed_of_steps = seed;
    for (int p = LAG_MIN; p <= LAG_MAX_FRAME; p++) {
        SCOPED_TRACE("lag " + std::to_string(p));
        test::Random random(static_cast<uint64_t>(p) + 1000);
        const int count = 1 + p % 2, h = p / 2;
        Spectrum steps[2], whole[2], *all[2] = {whole, whole + 1};
        float amp_row[2][AMP_ROOM], rs[2], gain[2], energy[2], factor[2];
        const int32_t lags[2] = {p, p};
        int32_t grid[2];
        for (int i = 0; i < count; i++) {
            Spectra s(p, static_cast<uint64_t>(p + 200 * i));
            if (p % 3 == 0) {
                s.lpc.re[h] = 1e-4f;
                s.lpc.im[h] = 0.0f;
            }
            std::fill_n(amp_row[i], AMP_ROOM, 1.0f);
            for (int d = 0; d < AS_DIM; d++)
                amp_row[i][d] = static_cast<float>(random.uniform(0.0, 3.0));
            rs[i] = static_cast<float>(std::min(random.uniform(0.0, 1.2), 1.0));
            gain[i] = static_cast<float>(random.uniform(1.0, 1000.0));
            grid[i] = s.n;
            whole[i] = s.lpc;

            float noise[SPECTRUM_ROOM], amp[SPECTRUM_ROOM];
            noise_profile(h, h, rs[i], noise);
            amp_profile(AS_DIM, amp_row[i], h, h, amp);
            mix_excitation(&seed_of_steps, h, amp, noise, &steps[i]);
            spectrum_shape(h, &steps[i], &s.lpc, s.scale(static_cast<double>(gain[i])), &steps[i]);
            spectrum_trim(p, s.n, &steps[i]);
            spline_prefilter(FFT_MAX, spline_table, s.n, &steps[i]);
        }
        divide_excitations(&seed, count, h, rs, amp_row, all, energy);
        ASSERT_EQ(seed, seed_of_steps);
        level_factors(count, lags, grid, gain, energy, factor);
        for (int i = 0; i < count; i++) {
            finish_spectrum(p, grid[i], factor[i], &whole[i]);
            for (int k = 0; k <= grid[i] / 2; k++) {
                ASSERT_EQ(whole[i].re[k], steps[i].re[k]) << "bin " << k << " of " << i;
                ASSERT_EQ(whole[i].im[k], steps[i].im[k]) << "bin " << k << " of " << i;
            }
        }
    }
}

} // namespace
