/* Sums of many lags side by side must be, bit for bit, the sums of one lag at a time. */
#include "dsp/correlate.h"

#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

float one_lag(const float *x, int n, int lag, float bias)
{
    double sum = static_cast<double>(bias);
    for (int i = 0; i < n; i++)
        sum += static_cast<double>(x[i]) * static_cast<double>(x[i - lag]);
    return static_cast<float>(sum);
}

TEST(Correlate, EveryLagIsItsOwnSumInRisingOrder)
{
    struct Case {
        int n, lag_lo, lag_hi;
        float bias;
        double amplitude;
    };
    /* the codec's own shapes, then counts of lags around those that a routine may take at a time */
    std::vector<Case> cases = {{80, 20, 160, 100000.0f, 1000.0}, {40, 20, 32, 50000.0f, 3000.0},
                               {40, 50, 160, 50000.0f, 0.01},    {80, 160, 160, 100000.0f, 30000.0},
                               {1, 20, 60, 0.0f, 1.0},           {0, 20, 40, 7.5f, 1.0}};
    for (int count = 1; count <= 34; count++)
        cases.push_back({40, 20, 19 + count, 50000.0f, 100.0});

    uint64_t seed = 200;
    for (const Case &c : cases) {
        SCOPED_TRACE(test::seed_note(++seed) + ", lags " + std::to_string(c.lag_lo) + ".." + std::to_string(c.lag_hi));
        const std::vector<float> signal = test::noise(c.lag_hi + c.n, c.amplitude, seed);
        const float *x = signal.data() + c.lag_hi;
        const int lags = c.lag_hi - c.lag_lo + 1;
        std::vector<float> want(static_cast<size_t>(lags));
        for (int lag = c.lag_lo; lag <= c.lag_hi; lag++)
            want[static_cast<size_t>(lag - c.lag_lo)] = one_lag(x, c.n, lag, c.bias);

        std::vector<float> got(static_cast<size_t>(lags) + 2, -1.25f);
        correlate_lags(signal.data() + c.lag_hi, c.n, c.lag_lo, c.lag_hi, c.bias, got.data() + 1);
        EXPECT_TRUE(test::same_bits(got.data() + 1, want.data(), lags));
        EXPECT_EQ(got.front(), -1.25f) << "wrote before the first lag";
        EXPECT_EQ(got.back(), -1.25f) << "wrote behind the last lag";
    }
}

TEST(Correlate, OrderOfTheTermsShowsInTheResult)
{
    /* 2^60 swallows what is added to it and gives it back when it is taken away: only rising order ends on 1. The
     * terms are x[i] x[i-4], so the past holds one factor and the stretch the other.                             */
    const float past_and_now[8] = {1.0f, 0x1p30f, -0x1p30f, 1.0f, 1.0f, 0x1p30f, 0x1p30f, 1.0f};
    float out = 0.0f;
    correlate_lags(past_and_now + 4, 4, 4, 4, 0.0f, &out);
    EXPECT_EQ(out, 1.0f);
    /* and the bias comes first: 2^60 + 2^60 - 2^60 keeps it, while 1 added to 2^60 is gone */
    const float cancelling[6] = {0x1p30f, -0x1p30f, 0.0f, 0.0f, 0x1p30f, 0x1p30f};
    correlate_lags(cancelling + 4, 2, 4, 4, 3.0f, &out);
    EXPECT_EQ(out, 0.0f);
}

TEST(Correlate, EnergyIsTheSumOfSquaresRoundedOnce)
{
    for (uint64_t seed = 250; seed < 260; seed++) {
        const std::vector<float> x = test::noise(240, seed % 2 == 0 ? 5000.0 : 1e-7, seed);
        double sum = 0.0;
        for (float v : x)
            sum += static_cast<double>(v) * static_cast<double>(v);
        EXPECT_TRUE(test::same_bits(energy(x.data(), 240), static_cast<float>(sum))) << test::seed_note(seed);
    }
    const float none = 3.0f;
    EXPECT_EQ(energy(&none, 0), 0.0f);
}

} // namespace
} // namespace talv
