#include "encoder/drift.h"

#include "dsp/constants.h"
#include "dsp/float_order.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace talv
{
namespace
{

using test::Random;

TEST(DriftReach, GrowsWithTheLagsPassedAndThenShrinksWithTheLag)
{
    for (int hi : {LAG_MAX, 100, 32})
        for (int lag = hi; lag >= LAG_MIN; lag--)
            EXPECT_EQ(drift_reach(lag, hi), std::min(lag / 5 - 1, hi - lag)) << "lag " << lag << " of " << hi;
}

/** The search as it is defined: lag after lag downwards, holding on to the winner while it stays in reach */
struct PlainDrift {
    int run = DRIFT_RUN_NONE;

    int offset(const float *row, int reach)
    {
        float best = row[0];
        int won = 0;
        if (run <= reach) {
            const int j = run;
            run = 1;
            if (float_order(row[j]) > float_order(best)) {
                won = j;
                run = j + 1;
            }
            return won;
        }
        for (int j = reach; j >= 1; j--) {
            if (float_order(row[j]) > float_order(best)) {
                best = row[j];
                won = j;
                run = j + 1;
            }
        }
        return won;
    }
};

TEST(DriftMaxima, EqualTheSearchLagByLag)
{
    for (uint64_t seed = 3830; seed < 4030; seed++) {
        SCOPED_TRACE(test::seed_note(seed));
        Random random(seed);
        const int lo = random.integer(LAG_MIN, 80), hi = random.integer(lo, LAG_MAX);
        float column[LAG_MAX + 1], largest[LAG_MAX + 1];
        /* few distinct values make ties; some columns hold negative entries */
        const int values = random.integer(1, 400), lowest = seed % 2 == 0 ? 0 : -values / 2;
        for (int l = 0; l <= hi - lo; l++)
            column[l] = static_cast<float>(random.integer(lowest, lowest + values)) * 1000.0f;

        drift_maxima(column, lo, hi, largest);
        PlainDrift plain;
        for (int lag = hi; lag >= lo; lag--) {
            const float *row = column + (lag - lo);
            const int offset = plain.offset(row, drift_reach(lag, hi));
            ASSERT_EQ(float_order(largest[lag - lo]), float_order(row[offset]))
                << "lag " << lag << " of " << lo << ".." << hi;
            ASSERT_EQ(drift_offset(column, lo, hi, lag), offset) << "lag " << lag << " of " << lo << ".." << hi;
        }
    }
}

TEST(DriftMaxima, TiesAndSigns)
{
    float column[LAG_MAX + 1] = {}, largest[LAG_MAX + 1];
    const auto entry = [&](int lag) -> float & { return column[lag - LAG_MIN]; };
    /* a lag wins ties against all longer ones, and an entry of equals only if it is above the lag's own */
    entry(51) = entry(53) = entry(55) = 2.0f;
    entry(50) = 1.0f;
    entry(49) = 2.0f;
    drift_maxima(column, LAG_MIN, LAG_MAX, largest);
    EXPECT_EQ(largest[50 - LAG_MIN], 2.0f);
    EXPECT_EQ(drift_offset(column, LAG_MIN, LAG_MAX, 50), 1); /* the winner since lag 51, where it beat 53 */
    EXPECT_EQ(drift_offset(column, LAG_MIN, LAG_MAX, 49), 0);
    /* integer order: any non-negative value above any negative one, and of two negative ones the larger magnitude */
    std::fill(std::begin(column), std::end(column), -5.0f);
    entry(31) = 0.0f;
    entry(90) = -9.0f;
    drift_maxima(column, LAG_MIN, LAG_MAX, largest);
    EXPECT_EQ(largest[30 - LAG_MIN], 0.0f);
    EXPECT_EQ(drift_offset(column, LAG_MIN, LAG_MAX, 30), 1);
    EXPECT_EQ(largest[80 - LAG_MIN], -9.0f);
    EXPECT_EQ(drift_offset(column, LAG_MIN, LAG_MAX, 80), 10);
    EXPECT_EQ(largest[LAG_MAX - LAG_MIN], -5.0f);
}

} // namespace
} // namespace talv
