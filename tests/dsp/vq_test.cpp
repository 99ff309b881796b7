/* The searches, and the codebooks of periodicity and gains; that of amplitudes has as_codebook_test.cpp. */
#include "dsp/msvq.h"
#include "dsp/vq.h"

#include "dsp/as_codebook.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

/** Squared error as the searches define it: rising order in double, rounded once */
float squared_error(const float *x, const float *row, int dim)
{
    double sum = 0.0;
    for (int d = 0; d < dim; d++) {
        const double difference = static_cast<double>(x[d]) - static_cast<double>(row[d]);
        sum += difference * difference;
    }
    return static_cast<float>(sum);
}

const float *gain_row(int stage, int row)
{
    return gain_codebook + (stage * GAIN_STAGE_ROWS + row) * QUARTERS;
}

/* Both ends of a link need the same tables. */
TEST(Codebooks, AreUnchanged)
{
    EXPECT_EQ(test::table_checksum(rs_codebook, RS_ROWS * RS_DIM), 0x3BB3F565u);
    EXPECT_EQ(test::table_checksum(gain_codebook, GAIN_STAGES * GAIN_STAGE_ROWS * QUARTERS), 0x9011B679u);
}

TEST(VqSearch, TakesTheNearestRowAndTheLowestOfEqualOnes)
{
    for (uint64_t seed = 700; seed < 1200; seed++) {
        Random random(seed);
        /* whole numbers from a small range make ties common; row_len above dim leaves elements that must not count */
        const int dim = random.integer(1, 4), row_len = dim + random.integer(0, 3), rows = random.integer(1, 40);
        std::vector<float> table(static_cast<size_t>(rows * row_len));
        for (float &v : table)
            v = static_cast<float>(random.integer(-2, 2));
        std::vector<float> x(static_cast<size_t>(dim));
        for (float &v : x)
            v = static_cast<float>(random.integer(-4, 4)) * 0.5f;

        int want = 0;
        for (int i = 1; i < rows; i++)
            if (squared_error(x.data(), &table[static_cast<size_t>(i * row_len)], dim) <
                squared_error(x.data(), &table[static_cast<size_t>(want * row_len)], dim))
                want = i;
        int32_t index = -1;
        vq_search(row_len, dim, x.data(), rows, table.data(), &index);
        ASSERT_EQ(index, want) << test::seed_note(seed);
        ASSERT_TRUE(test::same_bits(x.data(), &table[static_cast<size_t>(want * row_len)], dim))
            << test::seed_note(seed);
    }
}

/* Halfway between two rows, or a last bit beside it, an estimate cannot tell which one is nearer. */
TEST(VqSearch, SettlesWhatLiesHalfwayBetweenRows)
{
    const auto check = [](const float *table, int dim, int rows) {
        int halfway = 0;
        for (int i = 0; i < rows * rows; i++) {
            const float *one = table + i / rows * dim, *other = table + i % rows * dim;
            std::vector<float> x(static_cast<size_t>(dim));
            for (int d = 0; d < dim; d++)
                x[static_cast<size_t>(d)] = (one[d] + other[d]) * 0.5f;
            std::vector<float> errors(static_cast<size_t>(rows));
            for (int r = 0; r < rows; r++)
                errors[static_cast<size_t>(r)] = squared_error(x.data(), table + r * dim, dim);
            const auto least = std::min_element(errors.begin(), errors.end());
            halfway += i / rows != i % rows && *least == errors[static_cast<size_t>(i / rows)] ? 1 : 0;
            int32_t index = -1;
            vq_search(dim, dim, x.data(), rows, table, &index);
            ASSERT_EQ(index, least - errors.begin()) << "rows " << i / rows << " and " << i % rows;
        }
        EXPECT_GT(halfway, rows) << "too few points have the two rows as their nearest";
    };
    check(rs_codebook, RS_DIM, RS_ROWS);
    check(as_codebook, AS_DIM, AS_ROWS);
}

TEST(Ivsvq2, FetchesARowOrReportsTheIndex)
{
    float pair[RS_DIM];
    EXPECT_EQ(ivsvq2(RS_DIM, RS_DIM, pair, RS_ROWS, rs_codebook, 31), 0);
    EXPECT_TRUE(test::same_bits(pair, rs_codebook + 62, RS_DIM));
    EXPECT_EQ(ivsvq2(RS_DIM, RS_DIM, pair, RS_ROWS, rs_codebook, 0), 0);
    EXPECT_TRUE(test::same_bits(pair, rs_codebook, RS_DIM));
    for (int32_t index : {-1, 32, 100, INT32_MIN, INT32_MAX}) {
        pair[0] = pair[1] = -1.0f;
        EXPECT_EQ(ivsvq2(RS_DIM, RS_DIM, pair, RS_ROWS, rs_codebook, index), -1) << index;
        EXPECT_TRUE(test::same_bits(pair, rs_codebook, RS_DIM)) << index;
    }
    /* row_len 3, dim 2: the third element of a row is passed over */
    const float table[6] = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
    float three[3] = {0.0f, 0.0f, 9.0f};
    EXPECT_EQ(ivsvq2(3, 2, three, 2, table, 1), 0);
    EXPECT_EQ(three[0], 4.0f);
    EXPECT_EQ(three[1], 5.0f);
    EXPECT_EQ(three[2], 9.0f);
}

/** A pair of rows with its whole error, as found by sorting instead of by places */
struct Path {
    int32_t rows[2];
    float cost;
};

/** The three best rows of stage 0, then the best of all their continuations; earlier finds win ties */
Path best_of_three(const float *target, const float *table, const int32_t *sizes, int dim)
{
    std::vector<int32_t> order(static_cast<size_t>(sizes[0]));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int32_t a, int32_t b) {
        return squared_error(target, table + a * dim, dim) < squared_error(target, table + b * dim, dim);
    });
    Path best = {{-1, -1}, 1e38f};
    for (size_t place = 0; place < std::min<size_t>(3, order.size()); place++) {
        std::vector<float> rest(static_cast<size_t>(dim));
        for (int d = 0; d < dim; d++)
            rest[static_cast<size_t>(d)] = target[d] - table[order[place] * dim + d];
        for (int32_t j = 0; j < sizes[1]; j++) {
            const float cost = squared_error(rest.data(), table + (sizes[0] + j) * dim, dim);
            if (cost < best.cost)
                best = {{order[place], j}, cost};
        }
    }
    return best;
}

TEST(MsvqSearch, WorkedTargets)
{
    const float target[QUARTERS] = {21.0f, 37.0f, 40.0f, 25.0f};
    float work[QUARTERS];
    int32_t index[2];
    msvq_search(QUARTERS, gain_stage_sizes, gain_codebook, target, work, index);
    EXPECT_EQ(index[0], 12);
    EXPECT_EQ(index[1], 18);
    EXPECT_NEAR(static_cast<double>(squared_error(target, work, QUARTERS)), 49.63, 0.005);
    const float zero[QUARTERS] = {};
    const double want[QUARTERS] = {-0.713071, -0.575486, -0.306244, 0.341764};
    msvq_search(QUARTERS, gain_stage_sizes, gain_codebook, zero, work, index);
    EXPECT_EQ(index[0], 5);
    EXPECT_EQ(index[1], 1);
    EXPECT_TRUE(test::all_near(work, want, QUARTERS, 1e-6)) << "sums may be negative and are not clamped";
}

void expect_best_of_three(const float *target, const float *table, const int32_t *sizes, int dim)
{
    float work[QUARTERS], decoded[QUARTERS];
    int32_t index[2] = {-1, -1};
    msvq_search(dim, sizes, table, target, work, index);
    const Path want = best_of_three(target, table, sizes, dim);
    ASSERT_EQ(index[0], want.rows[0]);
    ASSERT_EQ(index[1], want.rows[1]);
    msvq_decode(dim, sizes, table, decoded, index);
    ASSERT_TRUE(test::same_bits(work, decoded, dim)) << "search and decoder form the same sum";
}

TEST(MsvqSearch, IsTheBestOfTheThreeBest)
{
    float target[QUARTERS];
    for (uint64_t seed = 1300; seed < 2300; seed++) {
        SCOPED_TRACE(test::seed_note(seed));
        Random random(seed);
        for (float &v : target)
            v = static_cast<float>(random.uniform(0.0, seed % 2 == 0 ? 95.0 : 25.0));
        expect_best_of_three(target, gain_codebook, gain_stage_sizes, QUARTERS);
    }
    /* halfway between rows of the first stage, and between their sums with two rows of the second */
    constexpr int PAIRS = GAIN_STAGE_ROWS * GAIN_STAGE_ROWS;
    for (int i = 0; i < 4 * PAIRS; i++) {
        SCOPED_TRACE("target " + std::to_string(i));
        const int a = i % GAIN_STAGE_ROWS, b = i / GAIN_STAGE_ROWS % GAIN_STAGE_ROWS, c = (a + b) % GAIN_STAGE_ROWS;
        const int first = i / PAIRS < 2 ? a : c, second = i / PAIRS < 2 ? b : c;
        for (int d = 0; d < QUARTERS; d++) {
            target[d] = (gain_row(0, first)[d] + gain_row(0, second)[d]) * 0.5f;
            if (i / PAIRS % 2 == 1)
                target[d] += (gain_row(1, a)[d] + gain_row(1, b)[d]) * 0.5f;
        }
        expect_best_of_three(target, gain_codebook, gain_stage_sizes, QUARTERS);
    }
}

TEST(MsvqSearch, OfEqualPathsTheOneFoundFirstWins)
{
    for (uint64_t seed = 2400; seed < 2900; seed++) {
        SCOPED_TRACE(test::seed_note(seed));
        Random random(seed);
        const int dim = random.integer(1, 3);
        /* from three rows on: a place that no row of stage 0 took is not a path */
        const int32_t sizes[2] = {random.integer(3, 12), random.integer(1, 9)};
        std::vector<float> table(static_cast<size_t>((sizes[0] + sizes[1]) * dim));
        for (float &v : table)
            v = static_cast<float>(random.integer(-2, 2));
        float target[3];
        for (float &v : target)
            v = static_cast<float>(random.integer(-3, 3));
        expect_best_of_three(target, table.data(), sizes, dim);
    }
}

TEST(MsvqDecode, AddsTheTwoRows)
{
    for (int32_t i = 0; i < GAIN_STAGE_ROWS; i++) {
        const int32_t index[2] = {i, GAIN_STAGE_ROWS - 1 - i};
        float got[QUARTERS], want[QUARTERS];
        for (int d = 0; d < QUARTERS; d++)
            want[d] = gain_row(0, index[0])[d] + gain_row(1, index[1])[d];
        msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, got, index);
        EXPECT_TRUE(test::same_bits(got, want, QUARTERS)) << "rows " << index[0] << " and " << index[1];
    }
}

} // namespace
} // namespace talv
