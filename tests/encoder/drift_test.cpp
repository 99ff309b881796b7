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

} // namespace
} // namespace talv
