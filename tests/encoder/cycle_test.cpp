/* From the residual to one cycle, and from the cycle to the amplitudes of its harmonics. */
#include "encoder/cycle.h"

#include "dsp/as_codebook.h"
#include "dsp/vq.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace talv
{
namespace
{

/** A cycle or its coefficients: indices -1 to P+1, with a canary at either end */
struct Guarded {
    std::vector<float> element;

    explicit Guarded(int P) : element(static_cast<size_t>(P) + 5, CANARY) {}
    float *first() { return element.data() + 2; }
    bool intact() const { return element.front() == CANARY && element.back() == CANARY; }

    static constexpr float CANARY = -777.0f;
};

struct Analysis {
    std::vector<float> points; /* 128 of them */
    float as_vec[AS_DIM];
    int32_t as_index;
};

/** The whole road, as the encoder takes it, from `periods` cycles of P samples */
Analysis analyse(const std::vector<float> &source, int P)
{
    Analysis result = {std::vector<float>(FFT_MAX), {}, -1};
    Guarded cycle(P), coef(P);
    Complex spectrum[FFT_MAX / 2 + 1];
    cycle_fold(P, static_cast<int>(source.size()) / P, source.data(), cycle.first());
    cycle_resample(P, cycle.first(), coef.first(), FFT_MAX, result.points.data());
    real_fft(result.points.data(), spectrum, FFT_MAX, FFT_MAX, fft_bitrev, fft_twiddle);
    cycle_amplitudes(AS_DIM, spectrum, result.as_vec);
    float row[AS_DIM];
    std::copy(std::begin(result.as_vec), std::end(result.as_vec), row);
    vq_search(AS_DIM, AS_DIM, row, AS_ROWS, as_codebook, &result.as_index);
    return result;
}

TEST(CycleFold, AddsThePeriodsAndRepeatsTheCycleInItsGuards)
{
    const struct {
        int P, periods;
    } cases[] = {{20, 12}, {64, 3}, {120, 2}, {121, 1}, {160, 1}};
    uint64_t seed = 3700;
    for (const auto &c : cases) {
        SCOPED_TRACE(test::seed_note(++seed) + ", lag " + std::to_string(c.P));
        ASSERT_EQ(FRAME_LEN / c.P, c.periods);
        const std::vector<float> source = test::noise(c.P * c.periods, 1000.0, seed);
        Guarded cycle(c.P);
        cycle_fold(c.P, c.periods, source.data(), cycle.first());
        for (int j = 0; j < c.P; j++) {
            float sum = 0.0f; /* rounded at every addition; not divided by the count */
            for (int i = 0; i < c.periods; i++)
                sum += source[static_cast<size_t>(j + i * c.P)];
            ASSERT_TRUE(test::same_bits(cycle.first()[j], sum)) << "sample " << j;
        }
        EXPECT_EQ(cycle.first()[-1], cycle.first()[c.P - 1]);
        EXPECT_EQ(cycle.first()[c.P], cycle.first()[0]);
        EXPECT_EQ(cycle.first()[c.P + 1], cycle.first()[1]);
        EXPECT_TRUE(cycle.intact()) << "wrote beyond the guards";
    }
}

/** Coefficients by elimination: c[i-1] + 4 c[i] + c[i+1] = cycle[i] from index 0 to P. The passes start from 0, which
 *  leaves c[-1] / z + c[0] = cycle[-1] and c[P] + 4 c[P+1] = cycle[P+1] at the ends, z = 2 - sqrt(3).            */
std::vector<long double> spline_by_elimination(int P, const float *cycle)
{
    const size_t n = static_cast<size_t>(P) + 3;
    std::vector<long double> diagonal(n, 4.0L), right(n);
    diagonal[0] = 2.0L + std::sqrt(3.0L);
    for (size_t i = 0; i < n; i++)
        right[i] = test::exact(cycle[static_cast<int>(i) - 1]);
    for (size_t i = 1; i < n; i++) {
        const long double factor = 1.0L / diagonal[i - 1];
        diagonal[i] -= factor;
        right[i] -= factor * right[i - 1];
    }
    std::vector<long double> c(n);
    c[n - 1] = right[n - 1] / diagonal[n - 1];
    for (size_t i = n - 1; i-- > 0;)
        c[i] = (right[i] - c[i + 1]) / diagonal[i];
    return c;
}

TEST(CycleResample, EqualsTheSplineThroughTheSamples)
{
    for (int P : {4, 20, 31, 64, 100, 127, 128, 129, 147, 150, 160})
        for (uint64_t seed = 3720; seed < 3725; seed++) {
            SCOPED_TRACE(test::seed_note(seed) + ", lag " + std::to_string(P));
            const std::vector<float> source = test::noise(P, 1000.0, seed);
            Guarded cycle(P), coef(P);
            cycle_fold(P, 1, source.data(), cycle.first());
            std::vector<float> got(FFT_MAX + 1, Guarded::CANARY);
            cycle_resample(P, cycle.first(), coef.first(), FFT_MAX, got.data());
            EXPECT_EQ(got.back(), Guarded::CANARY) << "wrote a 129th point";
            EXPECT_TRUE(coef.intact()) << "wrote beyond the guards";

            const std::vector<long double> c = spline_by_elimination(P, cycle.first());
            std::vector<long double> want(FFT_MAX);
            for (int j = 0; j < FFT_MAX; j++) {
                const long double t = test::exact(j) * P / FFT_MAX;
                const size_t i = static_cast<size_t>(t);
                const long double u = t - test::exact(i), v = 1.0L - u;
                /* the four pieces of the basis, times 6; c[i] is coefficient i - 1 */
                want[static_cast<size_t>(j)] = c[i] * v * v * v + c[i + 1] * (3.0L * u * u * u - 6.0L * u * u + 4.0L) +
                                               c[i + 2] * (3.0L * v * v * v - 6.0L * v * v + 4.0L) +
                                               c[i + 3] * u * u * u;
            }
            EXPECT_TRUE(test::all_near(got.data(), want.data(), FFT_MAX, 2e-3)) << "of a cycle up to 1000";
            /* the curve goes through the samples */
            for (int j = 0; j < FFT_MAX; j++)
                if (j * P % FFT_MAX == 0) {
                    EXPECT_NEAR(got[static_cast<size_t>(j)], source[static_cast<size_t>(j * P / FFT_MAX)], 1e-3f) << j;
                }
        }
}

TEST(CycleAmplitudes, MagnitudesOnAMeanSquareOfOne)
{
    for (uint64_t seed = 3740; seed < 3790; seed++) {
        SCOPED_TRACE(test::seed_note(seed));
        const std::vector<float> parts = test::noise(130, seed % 2 == 0 ? 30000.0 : 1e-7, seed);
        std::vector<Complex> spectrum(65);
        for (size_t k = 0; k < 65; k++)
            spectrum[k] = {parts[2 * k], parts[2 * k + 1]};
        float got[AS_DIM + 1];
        got[AS_DIM] = 5.0f;
        cycle_amplitudes(AS_DIM, spectrum.data(), got);
        EXPECT_EQ(got[AS_DIM], 5.0f) << "wrote an eleventh amplitude";
        long double sum = 0.0L;
        for (size_t k = 1; k <= AS_DIM; k++) {
            const long double re = test::exact(spectrum[k].re), im = test::exact(spectrum[k].im);
            sum += re * re + im * im;
        }
        double mean_square = 0.0;
        for (size_t k = 1; k <= AS_DIM; k++) {
            const long double re = test::exact(spectrum[k].re), im = test::exact(spectrum[k].im);
            const double want = static_cast<double>(std::sqrt((re * re + im * im) * AS_DIM / sum));
            EXPECT_NEAR(static_cast<double>(got[k - 1]), want, 1e-6) << "harmonic " << k;
            mean_square += static_cast<double>(got[k - 1]) * static_cast<double>(got[k - 1]) / AS_DIM;
        }
        EXPECT_NEAR(mean_square, 1.0, 1e-6);

        /* neither the level of the cycle nor what lies above the tenth harmonic counts */
        float other[AS_DIM];
        spectrum[0] = {1e6f, 0.0f};
        for (size_t k = 11; k < 65; k++)
            spectrum[k] = {1e6f, 1e6f};
        cycle_amplitudes(AS_DIM, spectrum.data(), other);
        EXPECT_TRUE(test::same_bits(other, got, AS_DIM));
    }
}

TEST(CycleAnalysis, NothingAtAllGivesZerosAndTheRowNearestToThem)
{
    const Analysis silent = analyse(std::vector<float>(192, 0.0f), 64);
    for (float v : silent.as_vec)
        EXPECT_EQ(v, 0.0f);
    EXPECT_EQ(silent.as_index, 7);
}

TEST(CycleAnalysis, BinsAreHarmonicsAtEveryLag)
{
    /* a cycle made of harmonic m alone shows in element m-1, whatever its length */
    for (int P : {40, 80, 120, 147, 150, 160})
        for (int m = 1; m <= AS_DIM; m++) {
            std::vector<float> source(static_cast<size_t>(FRAME_LEN / P * P));
            for (size_t i = 0; i < source.size(); i++)
                source[i] =
                    static_cast<float>(std::sin(2.0L * test::PI_L * m * test::exact(i) / test::exact(P) + 0.7L));
            const Analysis got = analyse(source, P);
            EXPECT_GT(got.as_vec[m - 1], 3.1f) << "lag " << P << ", harmonic " << m;
        }
}

} // namespace
} // namespace talv
