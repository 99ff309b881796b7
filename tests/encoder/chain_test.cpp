/* Chains that round at every step, and sums whose order is fixed, against their plain loops: on signals whose sums are
 * ties, leave the range of normal floats, or cancel, where the quick ways must not be trusted. */
#include "dsp/correlate.h"
#include "dsp/wide.h"
#include "encoder/conditioning.h"
#include "encoder/cycle.h"
#include "encoder/gain.h"
#include "encoder/lag_score.h"
#include "encoder/lpc.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

constexpr int PAST = LAG_MAX;

float square_added(float sum, float x, double sign)
{
    return static_cast<float>(static_cast<double>(sum) + sign * (static_cast<double>(x) * static_cast<double>(x)));
}

/** Of a frame's length, rounded at every term, in rising order */
float plain_autocorr(const float *x, int lag)
{
    float sum = 0.0f;
    for (int i = 0; i + lag < FRAME_LEN; i++)
        sum = rounded(wide(sum) + wide(x[i]) * wide(x[i + lag]));
    return sum;
}

/** Whole numbers, few digits above some zeros, whose products make ties with sums above 2^24; values below 1e-19, whose
 *  squares are no normal floats; both in turn; whole numbers at two very different levels, one after the other; and
 *  values whose squares are no normal floats, with all their digits                                                   */
std::vector<float> awkward(int kind, uint64_t seed)
{
    Random random(seed);
    std::vector<float> x(static_cast<size_t>(PAST + FRAME_LEN));
    for (size_t i = 0; i < x.size(); i++) {
        const float whole = static_cast<float>((2 * random.integer(-400, 400) + 1) * (1 << random.integer(0, 4)));
        const float tiny = whole * 0x1p-76f;
        x[i] = kind == 0   ? whole
               : kind == 1 ? tiny
               : kind == 2 ? (i % 2 == 0 ? whole : tiny)
               : kind == 3 ? whole * (i < 200 ? 1e3f : 1e-3f)
                           : static_cast<float>(random.uniform(-1.0, 1.0)) * 0x1p-66f;
    }
    return x;
}

TEST(Chains, AreThoseOfThePlainLoops)
{
    for (int trial = 0; trial < 80; trial++) {
        const int kind = trial % 5;
        const std::vector<float> signal = awkward(kind, 8100 + static_cast<uint64_t>(trial));
        const float *x = signal.data() + PAST;
        SCOPED_TRACE("kind " + std::to_string(kind) + ", " + test::seed_note(8100 + static_cast<uint64_t>(trial)));

        float r[LPC_ORDER + 1], work[FRAME_LEN];
        const std::vector<float> flat(FRAME_LEN, 1.0f);
        window_autocorr(x, FRAME_LEN, r, LPC_ORDER, work, flat.data());
        for (int lag = 0; lag <= LPC_ORDER; lag++)
            ASSERT_TRUE(test::same_bits(r[lag], plain_autocorr(x, lag))) << "autocorrelation, lag " << lag;

        const int L = 60 + trial, quarter = FRAME_LEN / QUARTERS;
        float rms[QUARTERS];
        subframe_rms(x, FRAME_LEN, L, QUARTERS, rms);
        for (int s = 0; s < QUARTERS; s++) {
            float sum = 0.0f;
            for (int i = (s + 1) * quarter - L; i < (s + 1) * quarter; i++)
                sum = square_added(sum, x[i], 1.0);
            const double mean = static_cast<double>(sum) * static_cast<double>(1.0f / static_cast<float>(L));
            ASSERT_TRUE(test::same_bits(rms[s], static_cast<float>(std::sqrt(std::sqrt(mean))))) << "gain " << s;
        }

        const int lag_lo = 20 + trial % 5, lag_hi = 160 - trial % 7;
        float E[ENERGIES_MAX];
        const float own = slide_energy(x, FRAME_LEN, lag_lo, lag_hi, E);
        double total = 0.0;
        for (int i = 0; i < FRAME_LEN; i++)
            total += static_cast<double>(x[i - lag_hi]) * static_cast<double>(x[i - lag_hi]);
        float now = static_cast<float>(total);
        for (int lag = lag_hi; lag >= lag_lo; lag--) {
            ASSERT_TRUE(test::same_bits(E[lag_hi - lag], now)) << "energy, lag " << lag;
            now = square_added(square_added(now, x[-lag], -1.0), x[FRAME_LEN - lag], 1.0);
        }
        total = static_cast<double>(now);
        for (int i = 1 - lag_lo; i < 0; i++) {
            total -= static_cast<double>(x[i]) * static_cast<double>(x[i]);
            total += static_cast<double>(x[i + FRAME_LEN]) * static_cast<double>(x[i + FRAME_LEN]);
        }
        ASSERT_TRUE(test::same_bits(own, static_cast<float>(total))) << "energy of the block";

        const int P = LAG_MIN + trial;
        std::vector<float> coef(static_cast<size_t>(P + 3)), want(coef.size());
        float points[FFT_MAX];
        cycle_resample(P, x + 1, coef.data() + 1, FFT_MAX, points);
        double y = 0.0;
        for (int i = 0; i < P + 3; i++)
            want[static_cast<size_t>(i)] = static_cast<float>(
                y = static_cast<double>(static_cast<float>(-0.267949192 * y + static_cast<double>(x[i]))));
        y = 0.0;
        for (int i = P + 2; i >= 0; i--)
            want[static_cast<size_t>(i)] =
                static_cast<float>(y = static_cast<double>(static_cast<float>(
                                       0.267949192 * (static_cast<double>(want[static_cast<size_t>(i)]) - y))));
        ASSERT_TRUE(test::same_bits(coef.data(), want.data(), P + 3)) << "spline coefficients";
    }
}

/* The filters and an autocorrelation side by side give what each gives alone, also where the autocorrelation has to be
 * done again as it is defined. */
TEST(Chains, BesideEachOtherAreWhatTheyAreAlone)
{
    for (int trial = 0; trial < 40; trial++) {
        const uint64_t seed = 8300 + static_cast<uint64_t>(trial);
        SCOPED_TRACE("kind " + std::to_string(trial % 6) + ", " + test::seed_note(seed));
        const int older = trial < 20 ? FRAME_LEN / 2 : trial == 39 ? FRAME_LEN : 4 * (trial - 20);
        std::vector<float> x = trial % 6 == 5 ? test::noise(FRAME_LEN, 3000.0, seed) : awkward(trial % 6, seed);
        const std::vector<int16_t> pcm = test::to_pcm(test::noise(FRAME_LEN, 5000.0, seed + 100));

        float state[5] = {0.0f, 1000.0f, 900.0f, -800.0f, 700.0f}, same_state[5];
        std::copy_n(state, 5, same_state);
        float alone[FRAME_LEN], beside[FRAME_LEN], mean = 3.0f, same_mean = 3.0f;
        iir_prefilter(prefilter_den, prefilter_num, pcm.data(), alone, state, FRAME_LEN);
        dc_tracker(FRAME_LEN, &mean, alone);

        Autocorr window(FRAME_LEN);
        window.take(x.data(), older);
        iir_prefilter(prefilter_den, prefilter_num, pcm.data(), beside, same_state, FRAME_LEN, &window);
        dc_tracker(FRAME_LEN, &same_mean, beside, &window);
        EXPECT_TRUE(test::same_bits(beside, alone, FRAME_LEN));
        EXPECT_TRUE(test::same_bits(same_state, state, 5));
        EXPECT_EQ(same_mean, mean);

        float r[LPC_ORDER + 1];
        ASSERT_EQ(window.missing(), 0);
        window.finish(r, LPC_ORDER);
        x.resize(FRAME_LEN);
        for (int i = older; i < FRAME_LEN; i++)
            x[static_cast<size_t>(i)] = analysis_window[i] * alone[i - older];
        for (int lag = 0; lag <= LPC_ORDER; lag++)
            ASSERT_TRUE(test::same_bits(r[lag], plain_autocorr(x.data(), lag))) << "lag " << lag;
    }
    for (int P = LAG_MIN; P <= LAG_MAX; P++) {
        const uint64_t seed = 8400 + static_cast<uint64_t>(P);
        SCOPED_TRACE("lag " + std::to_string(P) + ", " + test::seed_note(seed));
        const std::vector<float> x = P % 6 == 5 ? test::noise(PAST + FRAME_LEN, 3000.0, seed) : awkward(P % 6, seed);
        const std::vector<float> cycle = test::noise(P + 3, 100.0, seed + 500);
        float coef[LAG_MAX + 3], points[FFT_MAX], same_coef[LAG_MAX + 3], same_points[FFT_MAX];
        float want[QUARTERS], got[QUARTERS];
        cycle_resample(P, cycle.data() + 1, coef + 1, FFT_MAX, points);
        subframe_rms(x.data() + PAST, FRAME_LEN, P, QUARTERS, want);
        SquareSums sums = begin_square_sums(x.data() + PAST, FRAME_LEN, P);
        cycle_resample(P, cycle.data() + 1, same_coef + 1, FFT_MAX, same_points, &sums);
        subframe_rms(sums, got);
        ASSERT_TRUE(test::same_bits(same_coef, coef, P + 3));
        ASSERT_TRUE(test::same_bits(same_points, points, FFT_MAX));
        ASSERT_TRUE(test::same_bits(got, want, QUARTERS));
    }
}

} // namespace
} // namespace talv
