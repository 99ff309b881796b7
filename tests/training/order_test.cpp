/* The order of the rows. */
#include "training/order.h"

#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace talv
{
namespace
{

/** The corners of a cube of side 1 in `bits` dimensions, shuffled but for corner 0 */
Codebook shuffled_cube(int bits, uint64_t seed)
{
    const size_t rows = size_t{1} << bits;
    std::vector<size_t> corner(rows);
    std::iota(corner.begin(), corner.end(), size_t{0});
    test::Random random(seed);
    for (size_t k = rows - 1; k > 1; k--)
        std::swap(corner[k], corner[static_cast<size_t>(random.integer(1, static_cast<int>(k)))]);
    Codebook codebook;
    for (size_t r = 0; r < rows; r++)
        for (int d = 0; d < AS_DIM; d++)
            codebook.push_back(d < bits && (corner[r] >> d & 1) != 0 ? 1.0f : 0.0f);
    return codebook;
}

Codebook put_in_order(const Codebook &codebook, const RowOrder &order)
{
    Codebook sorted;
    for (int from : order.from)
        sorted.insert(sorted.end(), codebook.begin() + from * AS_DIM, codebook.begin() + (from + 1) * AS_DIM);
    return sorted;
}

/* Numbered by their coordinates, the corners that differ in one bit are those one edge apart: no order does better. */
TEST(OrderRows, FindsTheOrderOfACube)
{
    for (int bits : {2, 3, 4}) {
        const size_t rows = size_t{1} << bits;
        const Codebook codebook = shuffled_cube(bits, 40 + static_cast<uint64_t>(bits));
        const std::vector<uint64_t> count(rows, 3);
        std::vector<bool> movable(rows, true);
        movable[0] = false;
        const RowOrder order = order_rows(codebook, count, movable, 1, 200);
        EXPECT_NEAR(order.cost, 1.0, 1e-12) << bits << " bits";
        EXPECT_GT(order.random_cost, 1.1) << bits << " bits";
        EXPECT_EQ(order.from[0], 0) << bits << " bits: this row may not move";
        EXPECT_NEAR(one_bit_cost(put_in_order(codebook, order), count), order.cost, 1e-12);
    }
}

TEST(OrderRows, EachRowHasOnePlaceAndFixedRowsTheirOwn)
{
    test::Random random(77);
    Codebook codebook(128 * AS_DIM);
    for (float &v : codebook)
        v = static_cast<float>(random.uniform(0.0, 2.0));
    std::vector<uint64_t> count(128);
    for (uint64_t &n : count)
        n = static_cast<uint64_t>(random.integer(0, 500));
    std::vector<bool> movable(128, true);
    for (size_t r : {0u, 3u, 7u, 126u, 127u})
        movable[r] = false;
    const RowOrder order = order_rows(codebook, count, movable, 5, 3);
    std::vector<int> sorted = order.from;
    std::sort(sorted.begin(), sorted.end());
    std::vector<uint64_t> moved_count;
    for (int r = 0; r < 128; r++) {
        EXPECT_EQ(sorted[static_cast<size_t>(r)], r);
        if (!movable[static_cast<size_t>(r)]) {
            EXPECT_EQ(order.from[static_cast<size_t>(r)], r);
        }
        moved_count.push_back(count[static_cast<size_t>(order.from[static_cast<size_t>(r)])]);
    }
    EXPECT_NEAR(one_bit_cost(put_in_order(codebook, order), moved_count), order.cost, 1e-9 * order.cost);
    EXPECT_LT(order.cost, 0.9 * order.random_cost);
    EXPECT_EQ(order_rows(codebook, count, movable, 5, 3).from, order.from) << "the same seed, another order";
}

} // namespace
} // namespace talv
