/* The blocks of the search, each against its formula or against what it is there to find */
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/vq.h"
#include "search/lag_path.h"
#include "search/loudness.h"
#include "search/shortlist.h"
#include "search/window_fft.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <vector>

namespace talv
{
namespace
{

using test::PI_L;
using test::Random;

TEST(WindowFft, PowersAreThoseOfTheSum)
{
    constexpr uint64_t SEED = 31;
    SCOPED_TRACE(test::seed_note(SEED));
    Random random(SEED);
    Float4 x[SPECTRUM_POINTS], power[SPECTRUM_BINS];
    double in[LANES][SPECTRUM_POINTS];
    for (int n = 0; n < SPECTRUM_POINTS; n++)
        for (int w = 0; w < LANES; w++) {
            in[w][n] = std::round(random.uniform(-9000.0, 9000.0));
            x[n][w] = static_cast<float>(in[w][n]);
        }
    power_spectra(x, power);
    for (int w = 0; w < LANES; w++)
        for (int k = 0; k < SPECTRUM_BINS; k++) {
            std::complex<long double> sum = 0.0L;
            for (int n = 0; n < SPECTRUM_POINTS; n++)
                sum += static_cast<long double>(in[w][n]) *
                       std::polar(1.0L, -2.0L * PI_L * static_cast<long double>(k * n % SPECTRUM_POINTS) / 256.0L);
            const double wanted = static_cast<double>(std::norm(sum));
            ASSERT_NEAR(static_cast<double>(power[k][w]), wanted, 2e-6 * wanted + 50.0) << "bin " << k << " of " << w;
        }
}

/** Loudness of a steady tone of a frame's length and its past */
Loudness tone_loudness(double hz, double amplitude)
{
    const std::vector<float> x = test::tone(WINDOW_PAST + FRAME_LEN, hz, amplitude);
    Loudness loudness;
    frame_loudness(x.data() + WINDOW_PAST, &loudness);
    return loudness;
}

double band_centre(int b)
{
    return 740.0 * std::pow(4650.0 / 740.0, (b + 1) / 41.0) - 700.0;
}

TEST(Loudness, LiesInTheBandOfTheTone)
{
    for (int b = 0; b < BANDS; b += 3) {
        const double centre = band_centre(b);
        const Loudness loudness = tone_loudness(centre, 8000.0);
        for (int w = 0; w < LANES; w++) {
            int loudest = 0;
            for (int i = 1; i < BANDS; i++)
                if (loudness.band[i][w] > loudness.band[loudest][w])
                    loudest = i;
            EXPECT_NEAR(loudest, b, b < 6 ? 1 : 0) << centre << " Hz, window " << w;
        }
    }
}

TEST(Loudness, GrowsWithThePowerOfTheBand)
{
    /* Power to the power of 5/32: ten times the amplitude is 100^(5/32) times the loudness, far above the floor. */
    const double hz = band_centre(17);
    const Loudness soft = tone_loudness(hz, 1000.0), loud = tone_loudness(hz, 10000.0), none = tone_loudness(hz, 0.0);
    EXPECT_NEAR(static_cast<double>(loud.band[17][0] / soft.band[17][0]), std::pow(100.0, 5.0 / 32.0), 1e-3);
    EXPECT_NEAR(static_cast<double>(none.band[17][0]), std::pow(50.0, 5.0 / 32.0), 1e-4);
    const Float4 same = loudness_distance(&loud, &loud), apart = loudness_distance(&loud, &soft);
    for (int w = 0; w < LANES; w++) {
        EXPECT_EQ(same[w], 0.0f);
        EXPECT_GT(apart[w], 10.0f);
    }
}

TEST(Loudness, EachWindowEndsAQuarterLater)
{
    std::vector<float> x(WINDOW_PAST + FRAME_LEN, 0.0f);
    for (int n = WINDOW_PAST + 130; n < WINDOW_PAST + FRAME_LEN; n++) /* sound in the windows that end at 180 and 240 */
        x[static_cast<size_t>(n)] = n % 2 == 0 ? 3000.0f : -1000.0f;
    Loudness loudness;
    frame_loudness(x.data() + WINDOW_PAST, &loudness);
    const Float4 total = total_loudness(&loudness);
    EXPECT_EQ(total[0], total[1]);
    EXPECT_GT(total[2], total[1] + 1.0f);
    EXPECT_GT(total[3], total[2] + 1.0f);
}

TEST(LagScores, PeakAtThePeriod)
{
    for (int period : {20, 33, 50, 80, 111, 147}) {
        const std::vector<float> x = test::repeated_noise(320, period, 3000.0, static_cast<uint64_t>(period));
        float score[LAGS];
        lag_scores(x.data() + 160, score);
        const int best = static_cast<int>(std::max_element(score, score + LAGS) - score) + LAG_MIN;
        EXPECT_EQ(best % period, 0) << "period " << period;
        EXPECT_NEAR(static_cast<double>(score[period - LAG_MIN]), 1.0, 1e-3);
    }
    float score[LAGS];
    const std::vector<float> nothing(320, 0.0f);
    lag_scores(nothing.data() + 160, score);
    EXPECT_TRUE(std::all_of(score, score + LAGS, [](float s) { return s == 0.0f; }));
}

TEST(LagPath, FollowsAGlideThroughAGap)
{
    /* Lag 60 to 90 over 20 frames; frame 10 lacks two cycles, through which the track is to run on. */
    constexpr int FRAMES = 20;
    std::vector<float> x = test::voiced(FRAMES * FRAME_LEN + 1000, 60.0, 60.0 + 30.0 * 5800.0 / 4800.0, 4000.0, 5);
    std::fill_n(x.begin() + 10 * FRAME_LEN, 100, 0.0f);
    const auto history = std::make_unique<SpeechHistory>();
    history_reset(history.get(), 3);
    LagPath path{};
    for (int frame = 0; frame < FRAMES; frame++) {
        for (int n = -PAST; n < future(history.get()); n++) {
            const int from = frame * FRAME_LEN + n;
            history->low[PAST + n] = from < 0 ? 0.0f : x[static_cast<size_t>(from)];
        }
        LagPoint points[BLOCKS_MAX];
        lag_path_advance(&path, history.get(), points);
        if (frame >= 2)
            for (int ahead = 0; ahead < 2; ahead++) {
                const double wanted = 60.0 + 30.0 * (frame + ahead + 1) * FRAME_LEN / 4800.0;
                EXPECT_NEAR(points[ahead].lag, wanted, 0.06 * wanted) << "frame " << frame << " + " << ahead;
            }
    }
}

/** A plausible envelope: ascending, a resonance or two narrow */
std::array<float, LPC_ORDER> random_lsf(Random &random)
{
    std::array<float, LPC_ORDER> lsf;
    for (float &w : lsf)
        w = static_cast<float>(random.uniform(0.15, 3.0));
    std::sort(lsf.begin(), lsf.end());
    lsf_stabilize(lsf.data(), LPC_ORDER, LSF_SPACING_ANALYSIS);
    return lsf;
}

double log_spectral_distance(const float *a, const float *b)
{
    double sum = 0.0;
    for (int i = 1; i < 100; i++) {
        const double x = std::cos(3.1415926 * i / 100.0);
        double power[2];
        for (int v = 0; v < 2; v++) {
            double even = 1.0 + x, odd = 1.0 - x;
            for (int k = 0; k < LPC_ORDER; k += 2) {
                const float *lsf = v == 0 ? a : b;
                even *= std::pow(x - std::cos(static_cast<double>(lsf[k])), 2.0);
                odd *= std::pow(x - std::cos(static_cast<double>(lsf[k + 1])), 2.0);
            }
            power[v] = even + odd;
        }
        sum += std::pow(10.0 * std::log10(power[0] / power[1]), 2.0);
    }
    return std::sqrt(sum / 99.0);
}

TEST(LsfShortList, BeatsTheElementByElementQuantiser)
{
    Random random(77);
    double plain_sum = 0.0, first_sum = 0.0;
    for (int trial = 0; trial < 300; trial++) {
        const std::array<float, LPC_ORDER> lsf = random_lsf(random);
        int32_t plain[LPC_ORDER], list[LSF_LIST_MAX][LPC_ORDER];
        lsf_quant(lsf.data(), plain, LPC_ORDER, lsf_levels, lsf_level_counts);
        lsf_short_list(lsf.data(), LSF_LIST_MAX, list);
        std::set<std::vector<int32_t>> distinct;
        for (auto &index : list) {
            distinct.insert({index, index + LPC_ORDER});
            for (int k = 0; k < LPC_ORDER; k++)
                ASSERT_TRUE(index[k] >= 0 && index[k] < lsf_level_counts[k]);
        }
        EXPECT_EQ(distinct.size(), static_cast<size_t>(LSF_LIST_MAX));
        float decoded[LPC_ORDER];
        lsf_dequant(decoded, plain, LPC_ORDER, lsf_levels, lsf_level_counts);
        lsf_stabilize(decoded, LPC_ORDER, LSF_SPACING_DECODED);
        plain_sum += log_spectral_distance(lsf.data(), decoded);
        lsf_dequant(decoded, list[0], LPC_ORDER, lsf_levels, lsf_level_counts);
        lsf_stabilize(decoded, LPC_ORDER, LSF_SPACING_DECODED);
        first_sum += log_spectral_distance(lsf.data(), decoded);
    }
    EXPECT_LT(first_sum, 0.9 * plain_sum);
}

TEST(LsfStep, MovesOneElementAndLeavesTheLaterOnesInPlace)
{
    Random random(78);
    for (int trial = 0; trial < 200; trial++) {
        int32_t index[LPC_ORDER];
        for (int k = 0; k < LPC_ORDER; k++)
            index[k] = random.integer(0, lsf_level_counts[k] - 1);
        const int k = random.integer(0, LPC_ORDER - 1), step = random.integer(0, 1) == 0 ? -1 : 1;
        int32_t moved[LPC_ORDER];
        std::copy_n(index, LPC_ORDER, moved);
        const bool possible = index[k] + step >= 0 && index[k] + step < lsf_level_counts[k];
        ASSERT_EQ(lsf_step(moved, k, step), possible);
        if (!possible) {
            EXPECT_TRUE(std::equal(index, index + LPC_ORDER, moved));
            continue;
        }
        EXPECT_TRUE(std::equal(index, index + k, moved));
        EXPECT_EQ(moved[k], index[k] + step);
        /* The next element is as near to where it was as its levels allow. */
        if (k + 1 < LPC_ORDER) {
            float before[LPC_ORDER], after[LPC_ORDER];
            lsf_dequant(before, index, LPC_ORDER, lsf_levels, lsf_level_counts);
            lsf_dequant(after, moved, LPC_ORDER, lsf_levels, lsf_level_counts);
            int first = 0;
            for (int j = 0; j <= k; j++)
                first += lsf_level_counts[j];
            for (int j = 0; j < lsf_level_counts[k + 1]; j++)
                EXPECT_LE(std::fabs(after[k + 1] - before[k + 1]),
                          std::fabs(after[k] + lsf_levels[first + j] - before[k + 1]) + 1e-6f);
        }
    }
}

TEST(ShortLists, AreTheNearestInOrder)
{
    Random random(79);
    for (int trial = 0; trial < 50; trial++) {
        float target[QUARTERS];
        for (float &g : target)
            g = static_cast<float>(random.uniform(0.0, 60.0));
        int32_t list[GAIN_LIST_MAX][2];
        gain_short_list(target, GAIN_LIST_MAX, list);
        std::vector<double> all;
        const auto distance = [&](const int32_t *index) {
            float gain[QUARTERS];
            msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, gain, index);
            double sum = 0.0;
            for (int q = 0; q < QUARTERS; q++)
                sum += std::pow(static_cast<double>(gain[q]) - static_cast<double>(target[q]), 2.0);
            return sum;
        };
        for (int32_t i = 0; i < 32; i++)
            for (int32_t j = 0; j < 32; j++) {
                const int32_t index[2] = {i, j};
                all.push_back(distance(index));
            }
        std::sort(all.begin(), all.end());
        for (int i = 0; i < GAIN_LIST_MAX; i++)
            EXPECT_NEAR(distance(list[i]), all[static_cast<size_t>(i)], 1e-3 + 1e-5 * all[static_cast<size_t>(i)]);
    }
    for (int32_t row = 0; row < RS_ROWS; row++) { /* a row is its own nearest */
        int32_t list[3];
        row_short_list(rs_codebook + row * RS_DIM, RS_DIM, RS_ROWS, rs_codebook, 3, list);
        EXPECT_EQ(list[0], row);
    }
}

} // namespace
} // namespace talv
