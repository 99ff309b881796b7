/* Periodicity values: the range of lags, and the search. */
#include "encoder/rs.h"

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

constexpr int PAST = 120 + LAG_MAX; /* samples read before the newest block at most */

TEST(RsTaps, LowPassOf970Hz)
{
    EXPECT_NEAR(test::fir_gain(rs_taps, RS_ORDER, 0.0), 1.0166, 5e-5);
    EXPECT_NEAR(test::fir_gain_db(rs_taps, RS_ORDER, 970.0), -3.0, 0.1);
    for (double f = 2500.0; f <= 4000.0; f += 5.0)
        ASSERT_LT(test::fir_gain_db(rs_taps, RS_ORDER, f), -28.0) << f << " Hz";
}

TEST(RsLagRange, HalfTo16TenthsOfTheRawLag)
{
    int widest = 0;
    for (int32_t raw = LAG_MIN; raw <= LAG_MAX; raw++) {
        int32_t lo = -1, hi = -1;
        rs_lag_range(raw, &lo, &hi);
        EXPECT_EQ(lo, std::max(20, raw * 5 / 10)) << "raw lag " << raw;
        EXPECT_EQ(hi, std::min(160, raw * 16 / 10)) << "raw lag " << raw;
        EXPECT_LE(lo, hi) << "raw lag " << raw;
        widest = std::max(widest, hi - lo + 1);
    }
    EXPECT_EQ(widest, 111);
}

/** One value as its definition reads, from the window alone; negative counts entries below 0 */
float plain_value(const float *x, int lo, int hi, int *negative)
{
    const auto piece = [=](int from, int lag) {
        double sum = 50000.0;
        for (int i = from; i < from + 40; i++)
            sum += static_cast<double>(x[i]) * static_cast<double>(x[i - lag]);
        return static_cast<float>(sum);
    };
    const auto entry = [=](int s, int lag) { return piece(80 * s, lag) + piece(80 * s + 40, lag); };
    const test::LagChoice choice = test::choose_lag(3, FRAME_LEN, lo, hi, x, false, entry);
    *negative += choice.negative;
    const double Q = choice.energy > 0.0f ? choice.q / static_cast<double>(choice.energy) : 0.0;
    return static_cast<float>(1.0 - std::min(Q, 1.0));
}

TEST(RsSearch, EqualsThePlainSearch)
{
    for (const test::LagSignal &kind : test::LAG_SIGNALS) {
        int negative = 0;
        for (uint64_t seed = 5100; seed < 5240; seed++) {
            SCOPED_TRACE(std::string(kind.name) + ", " + test::seed_note(seed));
            Random random(seed);
            const int32_t raw = random.integer(LAG_MIN, LAG_MAX);
            int32_t lo = 0, hi = 0;
            rs_lag_range(raw, &lo, &hi);
            const std::vector<float> x = kind.make(PAST + FRAME_LEN, PAST, raw, random);
            const float *y = x.data() + PAST;
            float got[RS_DIM] = {-1.0f, -1.0f};
            rs_values(y, lo, hi, got);
            for (int window = 0; window < RS_DIM; window++) {
                ASSERT_TRUE(test::same_bits(got[window], plain_value(y - 120 + 120 * window, lo, hi, &negative)))
                    << "window " << window;
                ASSERT_TRUE(got[window] >= 0.0f && got[window] <= 1.0f);
            }
        }
        EXPECT_EQ(negative > 0, kind.loud) << kind.name << ": " << negative << " entries below 0";
    }
}

TEST(RsSearch, PeriodicIsZeroAndSilenceIsOne)
{
    for (int period : {20, 24, 30, 40, 48, 60, 80, 120}) { /* whole cycles in a window: equal energies at every lag */
        const uint64_t seed = 5400 + static_cast<uint64_t>(period);
        int32_t lo = 0, hi = 0;
        rs_lag_range(period, &lo, &hi);
        float rs[RS_DIM] = {-1.0f, -1.0f};
        const std::vector<float> exact = test::repeated_whole_numbers(PAST + FRAME_LEN, period, 60, seed);
        rs_values(exact.data() + PAST, lo, hi, rs);
        for (float v : rs)
            EXPECT_EQ(v, 0.0f) << "period " << period << ", " << test::seed_note(seed);
        const std::vector<float> x = test::repeated_noise(PAST + FRAME_LEN, period, 1000.0, seed);
        rs_values(x.data() + PAST, lo, hi, rs);
        for (float v : rs)
            EXPECT_LE(v, 1e-6f) << "period " << period << ", " << test::seed_note(seed);
    }

    std::vector<float> x(PAST + FRAME_LEN, 0.0f);
    for (int pass = 0; pass < 2; pass++) {
        for (int32_t raw : {20, 64, 160}) {
            int32_t lo = 0, hi = 0;
            rs_lag_range(raw, &lo, &hi);
            float rs[RS_DIM] = {-1.0f, -1.0f};
            rs_values(x.data() + PAST, lo, hi, rs);
            EXPECT_EQ(rs[0], 1.0f) << "raw lag " << raw << ", pass " << pass;
            EXPECT_EQ(rs[1], 1.0f) << "raw lag " << raw << ", pass " << pass;
        }
        for (size_t i = 0; i < x.size(); i++) /* second pass: the floor */
            x[i] = floor_noise[static_cast<int>(i % FRAME_LEN)];
    }
}

} // namespace
} // namespace talv
