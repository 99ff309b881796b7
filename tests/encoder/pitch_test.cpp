/* Pitch: the low-pass, the search, and the settling of the lag. */
#include "encoder/pitch.h"

#include "encoder/conditioning.h"
#include "tests/encoder/lag_reference.h"
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

using test::Random;

TEST(LpTaps, LowPassOf630Hz)
{
    EXPECT_EQ(test::table_checksum(lp_taps, LP_ORDER + 1), 0x72F6AE61u);
    EXPECT_NEAR(test::fir_gain(lp_taps, LP_ORDER, 0.0), 4.4831, 5e-5);
    EXPECT_NEAR(test::fir_gain_db(lp_taps, LP_ORDER, 630.0), -3.0, 0.1);
    for (double f = 1500.0; f <= 4000.0; f += 5.0)
        ASSERT_LT(test::fir_gain_db(lp_taps, LP_ORDER, f), -54.0) << f << " Hz";
}

TEST(SymFir, EqualsTheConvolutionAcrossBlocks)
{
    const struct {
        int order, n;
    } cases[] = {{8, 240}, {2, 240}, {8, 16}, {2, 4}, {8, 20}, {2, 36}};
    uint64_t seed = 3800;
    for (const auto &c : cases) {
        SCOPED_TRACE(test::seed_note(++seed) + ", order " + std::to_string(c.order) + ", block " + std::to_string(c.n));
        constexpr int BLOCKS = 4;
        const int memory = 2 * c.order;
        const std::vector<float> taps = test::noise(c.order + 1, 1.0, seed);
        /* what lies before the first block comes from the state, newest first */
        const std::vector<float> signal = test::noise(memory + BLOCKS * c.n, 1000.0, seed + 100);
        const float *x = signal.data() + memory;
        std::vector<float> state(static_cast<size_t>(memory) + 1, 1e9f); /* element 0 is a work cell */
        for (int k = 1; k <= memory; k++)
            state[static_cast<size_t>(k)] = x[-k];
        for (int block = 0; block < BLOCKS; block++, x += c.n) {
            std::vector<float> got(static_cast<size_t>(c.n) + 1, 3.0f);
            sym_fir(c.order, taps.data(), c.n, x, got.data(), state.data());
            EXPECT_EQ(got.back(), 3.0f) << "wrote behind the block";
            for (int i = 0; i < c.n; i++) {
                double want = 0.0;
                for (int k = -c.order; k <= c.order; k++) /* centred `order` samples back */
                    want += static_cast<double>(taps[static_cast<size_t>(std::abs(k))]) *
                            static_cast<double>(x[i - c.order + k]);
                ASSERT_NEAR(static_cast<double>(got[static_cast<size_t>(i)]), want, 4000.0 * 0x1p-24 + 1e-9)
                    << "block " << block << ", sample " << i;
            }
            for (int k = 1; k <= memory; k++)
                EXPECT_EQ(state[static_cast<size_t>(k)], x[c.n - k]) << "state " << k;
        }
    }
}

/** A block with its past, and what the codec's search says of it */
struct Searched {
    int32_t pitch = -1;
    float corr = -1.0f;
};

Searched search(const std::vector<float> &signal)
{
    Searched result;
    pitch_search(MAX_SEGMENTS, FRAME_LEN, LAG_MIN, LAG_MAX, signal.data() + LAG_MAX, &result.pitch, &result.corr);
    return result;
}

constexpr int SEARCH_LEN = LAG_MAX + FRAME_LEN;

/** The search as its definition reads: every lag on its own, every reach looked through
 *  negative  O   entries below 0 met */
Searched plain_search(int nseg, int n, int lag_min, int lag_max, const float *x, int *negative)
{
    const int seglen = n / nseg;
    const auto entry = [=](int s, int lag) {
        double sum = 0.0;
        for (int i = s * seglen; i < (s + 1) * seglen; i++)
            sum += static_cast<double>(x[i]) * static_cast<double>(x[i - lag]);
        return static_cast<float>(100000.0 + sum);
    };
    const test::LagChoice choice = test::choose_lag(nseg, n, lag_min, lag_max, x, true, entry);
    *negative += choice.negative;
    float r2 = choice.energy > 0.0f ? static_cast<float>(choice.q) / choice.energy : 0.0f;
    return {choice.lag + choice.offset, std::sqrt(std::min(r2, 1.0f))};
}

TEST(PitchSearch, EqualsThePlainSearch)
{
    for (const test::LagSignal &kind : test::LAG_SIGNALS) {
        int negative = 0;
        for (uint64_t seed = 4000; seed < 4140; seed++) {
            SCOPED_TRACE(std::string(kind.name) + ", " + test::seed_note(seed));
            Random random(seed);
            const bool whole = seed % 4 != 0; /* the codec's range, or any other */
            const int lo = whole ? LAG_MIN : random.integer(LAG_MIN, 100),
                      hi = whole ? LAG_MAX : random.integer(lo, LAG_MAX);
            const int nseg = whole ? MAX_SEGMENTS : random.integer(1, 6); /* more than three count as three */
            const std::vector<float> x = kind.make(SEARCH_LEN, LAG_MAX, random.integer(20, 170), random);
            Searched got;
            pitch_search(nseg, FRAME_LEN, lo, hi, x.data() + LAG_MAX, &got.pitch, &got.corr);
            const Searched want = plain_search(std::min(nseg, 3), FRAME_LEN, lo, hi, x.data() + LAG_MAX, &negative);
            ASSERT_EQ(got.pitch, want.pitch);
            ASSERT_NEAR(got.corr, want.corr, 1e-6f);
            ASSERT_TRUE(got.pitch >= lo && got.pitch <= hi);
            ASSERT_TRUE(got.corr >= 0.0f && got.corr <= 1.0f);
        }
        EXPECT_EQ(negative > 0, kind.loud) << kind.name << ": " << negative << " entries below 0";
    }
    /* one lag: it is taken whatever it is worth */
    Searched got;
    pitch_search(MAX_SEGMENTS, FRAME_LEN, 77, 77, test::noise(SEARCH_LEN, 1000.0, 4270).data() + LAG_MAX, &got.pitch,
                 &got.corr);
    EXPECT_EQ(got.pitch, 77);
}

TEST(PitchSearch, SilenceTakesTheShortestLag)
{
    /* Every score is 0 and equals the best: each lag takes over, and the last one stays. */
    std::vector<float> x(SEARCH_LEN, 0.0f);
    Searched got = search(x);
    EXPECT_EQ(got.pitch, LAG_MIN);
    EXPECT_EQ(got.corr, 0.0f);
    for (size_t i = 0; i < x.size(); i++) /* the floor's correlations vanish beside the bias */
        x[i] = floor_noise[static_cast<int>(i % FRAME_LEN)];
    got = search(x);
    EXPECT_EQ(got.pitch, LAG_MIN);
    EXPECT_EQ(got.corr, 0.0f);
}

TEST(PitchSearch, FindsThePeriodOfAPeriodicSignal)
{
    for (int period = LAG_MIN; period <= LAG_MAX; period++) {
        const uint64_t seed = 4300 + static_cast<uint64_t>(period);
        const Searched got = search(test::repeated_noise(SEARCH_LEN, period, 1000.0, seed));
        if (period <= 80) { /* each segment holds a whole cycle, so that no other lag can match it better */
            EXPECT_EQ(got.pitch, period) << test::seed_note(seed);
        }
        /* the block and its past differ in energy unless they hold whole cycles */
        if (FRAME_LEN % period == 0) {
            EXPECT_EQ(got.pitch, period) << test::seed_note(seed);
            EXPECT_GE(got.corr, 0.999999f) << "period " << period << ", " << test::seed_note(seed);
            const Searched exact = search(test::repeated_whole_numbers(SEARCH_LEN, period, 60, seed));
            EXPECT_EQ(exact.pitch, period) << test::seed_note(seed);
            EXPECT_EQ(exact.corr, 1.0f) << "period " << period << ", " << test::seed_note(seed);
        } else {
            EXPECT_GE(got.corr, 0.8f) << "period " << period << ", " << test::seed_note(seed);
        }
    }
}

TEST(PitchTrack, AllRules)
{
    const struct {
        const char *name;
        float c[3];
        int32_t p[3];
        int32_t want;
    } cases[] = {
        {"unvoiced: falls by a fifth at most", {0.0f, 0.0f, 0.0f}, {64, 20, 20}, 51},
        {"unvoiced: rises by a fifth at most", {0.4f, 0.3f, 0.2f}, {64, 90, 20}, 76},
        {"unvoiced: four fifths exactly may stay", {0.4f, 0.3f, 0.2f}, {50, 40, 100}, 40},
        {"unvoiced: just below four fifths", {0.4f, 0.3f, 0.2f}, {50, 39, 100}, 40},
        {"unvoiced: six fifths exactly may stay", {0.4f, 0.3f, 0.2f}, {50, 60, 100}, 60},
        {"unvoiced: just above six fifths", {0.4f, 0.3f, 0.2f}, {50, 61, 100}, 60},
        {"unvoiced: in between", {0.4f, 0.3f, 0.2f}, {50, 55, 100}, 55},
        {"voice begins next: take its lag", {0.1f, 0.49f, 0.5f}, {40, 41, 99}, 99},
        {"voice begins here, next is better", {0.1f, 0.5f, 0.6f}, {40, 41, 99}, 99},
        {"voice begins here, next is no better", {0.1f, 0.6f, 0.6f}, {40, 41, 99}, 41},
        {"a single voiced block keeps its lag", {0.1f, 0.6f, 0.1f}, {40, 120, 40}, 120},
        {"a gap between voiced blocks: next is better", {0.6f, 0.1f, 0.7f}, {40, 100, 44}, 44},
        {"a gap between voiced blocks: equal", {0.6f, 0.1f, 0.6f}, {40, 100, 44}, 44},
        {"a gap between voiced blocks: before is better", {0.7f, 0.1f, 0.6f}, {40, 100, 44}, 40},
        {"voice ends: keep the lag", {0.7f, 0.1f, 0.2f}, {40, 100, 44}, 40},
        {"voiced, half the lag of both: the later is better", {0.6f, 0.9f, 0.8f}, {80, 40, 82}, 82},
        {"voiced, half the lag of both: the earlier is better", {0.8f, 0.9f, 0.6f}, {80, 40, 82}, 80},
        {"voiced, half the lag of both: equal", {0.8f, 0.9f, 0.8f}, {80, 40, 82}, 80},
        {"voiced, twice the lag of both", {0.6f, 0.9f, 0.8f}, {40, 80, 41}, 41},
        {"voiced, an outlier next to an unvoiced block", {0.6f, 0.9f, 0.1f}, {40, 80, 41}, 40},
        {"voiced, far from one neighbour only", {0.6f, 0.9f, 0.8f}, {40, 80, 79}, 80},
        {"voiced, above one and below the other", {0.6f, 0.9f, 0.8f}, {40, 80, 120}, 80},
        {"voiced, on the border of an outlier", {0.6f, 0.9f, 0.8f}, {50, 40, 50}, 40},
    };
    for (const auto &c : cases) {
        float corr[3];
        int32_t pitch[3], out = -1;
        std::copy(std::begin(c.c), std::end(c.c), corr);
        std::copy(std::begin(c.p), std::end(c.p), pitch);
        pitch_track(corr, pitch, &out);
        EXPECT_EQ(out, c.want) << c.name;
        /* the lists move down by one; the newest entry stays until the next search overwrites it */
        EXPECT_EQ(pitch[0], c.want) << c.name;
        EXPECT_EQ(pitch[1], c.p[2]) << c.name;
        EXPECT_EQ(pitch[2], c.p[2]) << c.name;
        EXPECT_EQ(corr[0], c.c[1]) << c.name << ": the correlation moves unchanged, even where the lag was replaced";
        EXPECT_EQ(corr[1], c.c[2]) << c.name;
        EXPECT_EQ(corr[2], c.c[2]) << c.name;
    }
}

} // namespace
} // namespace talv
