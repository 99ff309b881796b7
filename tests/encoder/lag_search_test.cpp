/* The search that estimates first, against all correlations worked out: on signals where estimates come closest to
 * misleading it. */
#include "encoder/lag_search.h"

#include "dsp/correlate.h"
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

constexpr int COLUMN = FRAME_LEN / MAX_SEGMENTS;

/** x[-LAG_MAX .. FRAME_LEN-1] by kind
 *  0  noise of any level: correlations below the bias
 *  1  whole numbers: equal entries and equal sums
 *  2  a loud short period, the last bits turned: entries that differ by less than their estimates' error
 *  3  products that cancel at lag 40, so that a sum's last bits depend on its order                                 */
std::vector<float> make_signal(int kind, Random &random)
{
    std::vector<float> x(static_cast<size_t>(LAG_MAX + FRAME_LEN));
    const double level = std::pow(10.0, random.uniform(0.0, 4.0));
    const size_t period = kind == 3 ? 40 : static_cast<size_t>(random.integer(8, 16));
    for (size_t i = 0; i < x.size(); i++) {
        const auto again = [&](double top) { return static_cast<float>(random.uniform(-top, top)); };
        if (kind == 0)
            x[i] = again(level);
        else if (kind == 1)
            x[i] = static_cast<float>(random.integer(-2, 2) * 64);
        else if (i < period)
            x[i] = again(kind == 2 ? 30000.0 : 2e6);
        else if (kind == 2)
            x[i] = x[i - period] * (1.0f + static_cast<float>(random.integer(-8, 8)) * 0x1p-23f);
        else
            x[i] = i / period % 2 == 0 ? -x[i - period] : x[i - period];
    }
    return x;
}

TEST(LagSearch, EqualsTheFullSearch)
{
    int decided[4] = {}; /* by kind */
    for (uint64_t seed = 9000; seed < 11000; seed++) {
        Random random(seed);
        const int kind = static_cast<int>(seed % 4);
        const std::vector<float> signal = make_signal(kind, random);
        const float *x = signal.data() + LAG_MAX;
        /* few lags as often as all of them: what does not win among many shows there. Long ones may borrow most. */
        const int lag_lo = kind == 3 ? 40 : random.integer(kind == 2 ? 100 : LAG_MIN, LAG_MAX);
        const int more = random.integer(0, 1) == 0 ? random.integer(0, 24) : LAG_MAX;
        const int lag_hi = std::min(lag_lo + more, LAG_MAX);
        const bool as_periodicity = random.integer(0, 1) == 0;
        const LagBlock block = {
            x, FRAME_LEN, lag_lo, lag_hi, MAX_SEGMENTS, COLUMN, as_periodicity ? 2 : 1, as_periodicity};
        float column[MAX_SEGMENTS][LONGER_LAGS + ESTIMATES_MAX];
        LagEstimates estimates;
        estimates.magnitude = magnitude_bound(x - lag_hi, lag_hi + FRAME_LEN);
        estimates.error = COLUMN + 1;
        for (int s = 0; s < MAX_SEGMENTS; s++) {
            float *near = column[s] + LONGER_LAGS;
            no_longer_lags(near);
            estimate_lags(x + s * COLUMN, COLUMN, block.lag_lo, lag_hi, nullptr, near);
            estimates.column[s] = near;
        }
        LagChoice got, want;
        if (!search_lag(block, estimates, &got))
            continue;
        decided[kind]++;
        search_lag_fully(block, &want);
        estimates.magnitude = 1e15f;
        LagChoice unused;
        ASSERT_FALSE(search_lag(block, estimates, &unused))
            << "squares beyond the range of floats are not for estimates";
        SCOPED_TRACE(test::seed_note(seed) + ", lags " + std::to_string(block.lag_lo) + " to " +
                     std::to_string(lag_hi));
        ASSERT_EQ(got.lag, want.lag);
        ASSERT_EQ(got.offset, want.offset);
        ASSERT_EQ(got.q, want.q);
        ASSERT_TRUE(test::same_bits(got.E, want.E));
    }
    for (int kind = 0; kind < 4; kind++)
        EXPECT_GE(decided[kind], 100) << "kind " << kind;
}

} // namespace
} // namespace talv
