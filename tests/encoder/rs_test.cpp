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
    const auto gain = [](double frequency_hz) {
        double sum = static_cast<double>(rs_taps[0]);
        for (int k = 1; k <= RS_ORDER; k++)
            sum += 2.0 * static_cast<double>(rs_taps[k]) *
                   std::cos(2.0 * 3.14159265358979323846 * frequency_hz * k / 8000.0);
        return sum;
    };
    EXPECT_NEAR(gain(0.0), 1.0166, 5e-5);
    EXPECT_NEAR(20.0 * std::log10(gain(970.0) / gain(0.0)), -3.0, 0.1);
    for (double f = 2500.0; f <= 4000.0; f += 5.0)
        ASSERT_LT(20.0 * std::log10(std::fabs(gain(f)) / gain(0.0)), -28.0) << f << " Hz";
}

TEST(RsLagRange, HalfTo16TenthsOfTheRawLag)
{
    const struct {
        int32_t raw, lo, hi;
    } cases[] = {{20, 20, 32},  {40, 20, 64},   {41, 20, 65},   {42, 21, 67},  {63, 31, 100},
                 {99, 49, 158}, {100, 50, 160}, {101, 50, 160}, {160, 80, 160}};
    for (const auto &c : cases) {
        int32_t lo = -1, hi = -1;
        rs_lag_range(c.raw, &lo, &hi);
        EXPECT_EQ(lo, c.lo) << "raw lag " << c.raw;
        EXPECT_EQ(hi, c.hi) << "raw lag " << c.raw;
    }
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
    for (const char *kind : {"quiet", "loud", "pulses", "voice", "onset"}) {
        int negative = 0;
        for (uint64_t seed = 5100; seed < 5300; seed++) {
            SCOPED_TRACE(std::string(kind) + ", " + test::seed_note(seed));
            Random random(seed);
            const int32_t raw = random.integer(LAG_MIN, LAG_MAX);
            int32_t lo = 0, hi = 0;
            rs_lag_range(raw, &lo, &hi);
            std::vector<float> x;
            switch (kind[0]) {
            case 'q':
                x = test::noise(PAST + FRAME_LEN, 20.0, seed);
                break;
            case 'l':
                x = test::noise(PAST + FRAME_LEN, 20000.0, seed);
                break;
            case 'p':
                x = test::pulses(PAST + FRAME_LEN, raw, 600.0f, random.integer(0, 30));
                break;
            case 'v':
                x = test::voiced(PAST + FRAME_LEN, raw, raw * 1.1, 3000.0, seed);
                break;
            default: /* noise, then voice: the two windows differ */
                x = test::voiced(PAST + FRAME_LEN, raw, raw, 3000.0, seed);
                for (int i = 0; i < PAST; i++)
                    x[static_cast<size_t>(i)] = static_cast<float>(random.uniform(-300.0, 300.0));
            }
            const float *y = x.data() + PAST;
            float got[RS_DIM] = {-1.0f, -1.0f};
            rs_values(y, lo, hi, got);
            for (int window = 0; window < RS_DIM; window++) {
                ASSERT_TRUE(test::same_bits(got[window], plain_value(y - 120 + 120 * window, lo, hi, &negative)))
                    << "window " << window;
                ASSERT_GE(got[window], 0.0f);
                ASSERT_LE(got[window], 1.0f);
            }
        }
        EXPECT_EQ(negative > 0, kind[0] == 'l' || kind[0] == 'v' || kind[0] == 'o')
            << kind << ": " << negative << " entries below 0";
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

TEST(RsSearch, MoreThanPerfectIsCutToZero)
{
    /* a block whose past is twice as large correlates beyond its own energy: (2 E)^2 / (4 E E) = 1; with the drift's
     * freedom of choice the ratio passes 1 on a voice that dies away                                               */
    const std::vector<float> cycle = test::repeated_noise(PAST + FRAME_LEN, 50, 1000.0, 5600);
    std::vector<float> x = cycle;
    for (size_t i = 0; i < x.size(); i++)
        x[i] *= static_cast<float>(std::exp(-0.002 * static_cast<double>(i)));
    int32_t lo = 0, hi = 0;
    rs_lag_range(50, &lo, &hi);
    float rs[RS_DIM] = {-1.0f, -1.0f};
    rs_values(x.data() + PAST, lo, hi, rs);
    for (float v : rs) {
        EXPECT_GE(v, 0.0f);
        EXPECT_LE(v, 0.05f);
    }
}

} // namespace
} // namespace talv
