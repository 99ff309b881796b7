/** Parameter tracks: the grid of subframes and the five interpolations along it */
#include "decoder/tracks.h"
#include "dsp/constants.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace
{

using namespace talv;

constexpr int K_MIN = 3, K_MAX = 12; /* what the lags of a frame lead to */

struct Grid {
    int32_t K;
    int32_t bounds[MAX_SUBFRAMES + 1];
};

Grid grid(int lag)
{
    Grid g;
    g.K = -1;
    for (int32_t &b : g.bounds)
        b = -1;
    subframe_grid(lag, FRAME_LEN, 2, MAX_SUBFRAMES, 2.0f, &g.K, g.bounds);
    return g;
}

TEST(SubframeGrid, EveryLagOfAFrame)
{
    struct Row {
        int lag_first, lag_last, K, length, last_length;
    };
    const Row rows[] = {
        {20, 41, 12, 20, 20}, {42, 45, 11, 21, 30}, {46, 50, 10, 24, 24}, {51, 56, 9, 26, 32},   {57, 64, 8, 30, 30},
        {65, 73, 7, 34, 36},  {74, 87, 6, 40, 40},  {88, 106, 5, 48, 48}, {107, 137, 4, 60, 60}, {138, 147, 3, 80, 80},
    };
    int lag = LAG_MIN;
    for (const Row &row : rows) {
        ASSERT_EQ(lag, row.lag_first);
        for (; lag <= row.lag_last; lag++) {
            SCOPED_TRACE("lag " + std::to_string(lag));
            const Grid g = grid(lag);
            ASSERT_EQ(g.K, row.K);
            EXPECT_EQ(g.K, std::min((2 * 2 * FRAME_LEN + lag) / (2 * lag), MAX_SUBFRAMES)) << "480/lag, half up";
            for (int m = 0; m < g.K; m++)
                EXPECT_EQ(g.bounds[m], m * row.length) << "bound " << m;
            EXPECT_EQ(g.bounds[g.K], FRAME_LEN);
            EXPECT_EQ(g.bounds[g.K] - g.bounds[g.K - 1], row.last_length);
            for (int m = g.K + 1; m <= MAX_SUBFRAMES; m++)
                EXPECT_EQ(g.bounds[m], -1) << "wrote bound " << m;
        }
    }
    EXPECT_EQ(lag, LAG_MAX_FRAME + 1);
}

TEST(SubframeGrid, Limits)
{
    EXPECT_EQ(grid(0).K, MAX_SUBFRAMES); /* no lag: as many as there may be */
    EXPECT_EQ(grid(-5).K, MAX_SUBFRAMES);
    EXPECT_EQ(grid(1).K, MAX_SUBFRAMES);
    EXPECT_EQ(grid(192).K, 3); /* 480/192 = 2.5 rounds up */
    EXPECT_EQ(grid(193).K, 2);
    EXPECT_EQ(grid(5000).K, 2);
    int32_t K = 0, bounds[MAX_SUBFRAMES + 1];
    subframe_grid(100, FRAME_LEN, 7, 4, 2.0f, &K, bounds); /* the upper limit has the last word */
    EXPECT_EQ(K, 4);
}

/** Round(prev + (m+1)(cur-prev)/K) in whole numbers, for every pair of lags and every K */
TEST(PitchInterp, AgainstExactArithmetic)
{
    for (int prev = LAG_MIN; prev <= LAG_MAX_FRAME; prev++)
        for (int cur = LAG_MIN; cur <= LAG_MAX_FRAME; cur++)
            for (int K = K_MIN; K <= K_MAX; K++) {
                int32_t out[K_MAX + 1];
                std::fill(out, out + K_MAX + 1, -1);
                pitch_interp(prev, cur, K, out);
                const bool jump = 3 * cur < 2 * prev || 3 * prev < 2 * cur;
                const bool exact = (K & (K - 1)) == 0; /* 1/K and with it every step is a float */
                for (int m = 0; m < K; m++) {
                    const int twice = 2 * K * prev + 2 * (m + 1) * (cur - prev); /* 2K times the value */
                    const int want = jump ? cur : (twice + K) / (2 * K);
                    const bool tie = !jump && (twice + K) % (2 * K) == 0;
                    if (tie && !exact) { /* a half that the rounded step may miss on either side */
                        ASSERT_TRUE(out[m] == want || out[m] == want - 1)
                            << prev << " to " << cur << ", K " << K << ", m " << m << ": got " << out[m] << ", wanted "
                            << want << " or one less";
                    } else {
                        ASSERT_EQ(out[m], want) << prev << " to " << cur << ", K " << K << ", m " << m;
                    }
                }
                ASSERT_EQ(out[K - 1], cur) << prev << " to " << cur << ", K " << K;
                ASSERT_EQ(out[K], -1) << "wrote past the end";
            }
}

TEST(RsExpand, KnownValues)
{
    struct Case {
        float x;
        double want, tolerance;
    };
    const Case cases[] = {{0.0f, 0.0, 0.0},
                          {0.0135f, static_cast<double>(0.0135f), 0.0},
                          {0.4999f, static_cast<double>(0.4999f), 0.0},
                          {0.5f, 0.5, 0.0},
                          {0.6f, 0.622222, 1e-7},
                          {0.7f, 0.788888, 1e-7},
                          {0.8f, 0.999998, 1e-6},
                          {0.800001f, 1.0, 2e-6},
                          {0.80001f, 1.0, 0.0},
                          {0.9222f, 1.0, 0.0},
                          {1.0f, 1.0, 0.0}};
    for (const Case &c : cases) {
        float v[2] = {c.x, 0.25f};
        rs_expand(2, v);
        EXPECT_NEAR(static_cast<double>(v[0]), c.want, c.tolerance) << "x = " << c.x;
        EXPECT_EQ(v[1], 0.25f);
        float w[2] = {0.25f, c.x};
        rs_expand(2, w);
        EXPECT_EQ(w[1], v[0]) << "element 1 is treated like element 0";
    }
}

/** Each of the four values has a triangle of weights around its own place: a subframe centre c lies at 0.5 + 2c. The
 *  fifth has no weight at all. */
TEST(RsInterp, WeightsAreTriangles)
{
    for (int K = 2; K <= K_MAX; K++)
        for (int e = 0; e < 4; e++) {
            SCOPED_TRACE("K " + std::to_string(K) + ", element " + std::to_string(e));
            float hist[5] = {0.0f, 0.0f, 0.0f, 0.0f, std::numeric_limits<float>::quiet_NaN()}, out[K_MAX + 1];
            hist[e] = 1.0f;
            out[K] = -7.0f;
            rs_interp(2, hist + 1, K, out);
            for (int m = 0; m < K; m++) {
                const double place = 0.5 + 2.0 * (m + 0.5) / K;
                EXPECT_NEAR(static_cast<double>(out[m]), std::fmax(0.0, 1.0 - std::fabs(place - e)), 2e-6) << "m " << m;
                if (e == 3) {
                    EXPECT_LE(static_cast<double>(out[m]), 0.5 - 1.0 / K + 2e-6) << "the newest value came too early";
                }
            }
            EXPECT_EQ(out[K], -7.0f) << "wrote past the end";
        }
}

TEST(AsStep, StraightLines)
{
    const uint64_t seed = 10;
    SCOPED_TRACE(test::seed_note(seed));
    test::Random random(seed);
    for (int K = K_MIN; K <= K_MAX; K++) {
        float prev[AS_DIM], cur[AS_DIM], step[AS_DIM + 1];
        for (int d = 0; d < AS_DIM; d++) {
            prev[d] = static_cast<float>(random.uniform(0.0, 3.0));
            cur[d] = static_cast<float>(random.uniform(0.0, 3.0));
        }
        cur[4] = prev[4];
        step[AS_DIM] = -7.0f;
        as_step(AS_DIM, prev, cur, K, step);
        for (int d = 0; d < AS_DIM; d++)
            EXPECT_NEAR(static_cast<double>(step[d]), (static_cast<double>(cur[d]) - static_cast<double>(prev[d])) / K,
                        2e-7)
                << "K " << K << ", element " << d;
        EXPECT_EQ(step[4], 0.0f) << "an element that does not change";
        EXPECT_EQ(step[AS_DIM], -7.0f) << "wrote past the end";
    }
}

/** Gains for gain_interp: g[-1] is given squared, the others as they come from the codebook */
struct Gains {
    float store[5];
    Gains(double carried, double g0, double g1, double g2, double g3)
        : store{static_cast<float>(carried), root(g0), root(g1), root(g2), root(g3)}
    {
    }
    static float root(double squared) { return static_cast<float>(std::sqrt(squared)); }
    float *g() { return store + 1; }
};

TEST(GainInterp, KnownTracks)
{
    struct Case {
        int K;
        double carried;
        double want[4];
    };
    /* Squared gains 1, 4, 9, 16: the second quarter's is an onset (4 > 3), the others are not. */
    const Case cases[] = {{4, 0.5, {0.9995, 4.0, 8.995, 15.993}}, {3, 0.5, {4.0, 6.70333, 15.118, 0.0}}};
    for (const Case &c : cases) {
        Gains gains(c.carried, 1.0, 4.0, 9.0, 16.0);
        float out[4] = {-7.0f, -7.0f, -7.0f, -7.0f};
        gain_interp(4, gains.g(), c.K, GAIN_ONSET, out);
        for (int m = 0; m < c.K; m++)
            EXPECT_NEAR(static_cast<double>(out[m]), c.want[m], 6e-6 * c.want[m]) << "K " << c.K << ", m " << m;
        if (c.K == 3) {
            EXPECT_EQ(out[3], -7.0f) << "wrote past the end";
        }
        const float squares[5] = {0.5f, 1.0f, 4.0f, 9.0f, 16.0f};
        EXPECT_TRUE(test::same_bits(gains.store, squares, 5)) << "squared in place, but for the carried one";
    }
}

/** On a gentle ramp of squared gains the track shows the positions themselves: the subframes' ends, a thousandth of a
 *  quarter early; with three subframes half an eighth of a frame earlier still */
TEST(GainInterp, PositionsOnARamp)
{
    for (int K = K_MIN; K <= K_MAX; K++) {
        Gains gains(100.0, 101.0, 102.0, 103.0, 104.0);
        float out[K_MAX];
        gain_interp(4, gains.g(), K, GAIN_ONSET, out);
        for (int m = 0; m < K; m++) {
            const double place = 4.0 * (m + 1) / K - 0.001 - (K < 4 ? 0.125 : 0.0);
            EXPECT_NEAR(static_cast<double>(out[m]), 100.0 + place, 3e-5) << "K " << K << ", m " << m;
        }
    }
}

TEST(GainInterp, Onsets)
{
    float out[K_MAX];
    { /* three times the gain before is an onset: 0.75 squared is 0.5625, and 0.1875 a third of it */
        Gains gains(0.1875, 0.5625, 0.5625, 0.5625, 0.5625);
        gain_interp(4, gains.g(), 4, GAIN_ONSET, out);
        EXPECT_EQ(out[0], 0.5625f);
    }
    { /* a little less than three times is not */
        Gains gains(0.18750001, 0.5625, 0.5625, 0.5625, 0.5625);
        gain_interp(4, gains.g(), 4, GAIN_ONSET, out);
        EXPECT_NEAR(static_cast<double>(out[0]), 0.001 * 0.1875 + 0.999 * 0.5625, 1e-6);
        EXPECT_LT(out[0], 0.5625f);
    }
    { /* from 1 to 4: every subframe between the two has the later one in full */
        Gains gains(1.0, 1.0, 1.0, 4.0, 4.0);
        gain_interp(4, gains.g(), 12, GAIN_ONSET, out);
        const double want[12] = {1, 1, 1, 1, 1, 1, 4, 4, 4, 4, 4, 4};
        EXPECT_TRUE(test::all_near(out, want, 12, 1e-6));
    }
    { /* a falling gain goes down the line, without a case for silence */
        Gains gains(900.0, 0.0, 0.0, 0.0, 0.0);
        gain_interp(4, gains.g(), 12, GAIN_ONSET, out);
        for (int m = 0; m < 12; m++)
            EXPECT_NEAR(static_cast<double>(out[m]), std::fmax(0.0, 900.0 * (1.0 - ((m + 1) / 3.0 - 0.001))), 1e-3)
                << "m " << m;
    }
}

TEST(GainInterp, ThreeSubframesDoNotLookBack)
{
    Gains gains(0.0, 1.0, 4.0, 9.0, 16.0), blind(0.0, 1.0, 4.0, 9.0, 16.0);
    blind.store[0] = std::numeric_limits<float>::quiet_NaN();
    float out[3], out_blind[3];
    gain_interp(4, gains.g(), 3, GAIN_ONSET, out);
    gain_interp(4, blind.g(), 3, GAIN_ONSET, out_blind);
    EXPECT_TRUE(test::same_bits(out_blind, out, 3));
}

} // namespace
