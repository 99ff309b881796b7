/* The limits of the amplitude codebook: rows that are put within them are the best ones there. */
#include "training/limits.h"

#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace talv
{
namespace
{

using Vector = double[AS_DIM];

double square_of(const float *x)
{
    const Vector zero = {};
    return squared_distance(zero, x);
}

/** Amplitudes of some spectrum, of any level */
void draw(test::Random &random, double *v)
{
    const double level = random.uniform(0.3, 1.5);
    for (int d = 0; d < AS_DIM; d++)
        v[d] = level * -std::log(1.0 - random.uniform(0.0, 0.999));
}

TEST(TableLimits, GivenRowsKeepTheOrderOfLevelsAndElements)
{
    const Limits limits = table_limits();
    ASSERT_EQ(limits.given.size(), 4u);
    for (const GivenRow &given : limits.given) {
        EXPECT_TRUE(admissible(limits, given.row, given.value));
        float moved[AS_DIM];
        const Vector elsewhere = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
        EXPECT_TRUE(nearest_admissible(limits, given.row, elsewhere, moved));
        EXPECT_TRUE(test::same_bits(moved, given.value, AS_DIM)) << "row " << given.row << " must not move";
    }
    EXPECT_GT(limits.square_min, square_of(find_given(limits, 7)->value));
    EXPECT_LT(limits.square_max, square_of(find_given(limits, 127)->value));
    EXPECT_LT(limits.element_max, static_cast<double>(find_given(limits, 0)->value[0]));
    EXPECT_GT(limits.element_min, static_cast<double>(find_given(limits, 0)->value[8]));
    EXPECT_EQ(find_given(limits, 126), nullptr);
}

TEST(TableLimits, AnyCentroidFindsAnAdmissibleRow)
{
    const Limits limits = table_limits();
    for (uint64_t seed = 1; seed <= 3000; seed++) {
        test::Random random(seed);
        Vector centroid;
        draw(random, centroid);
        if (seed % 4 == 0) /* towards the corners: one harmonic alone, or all alike */
            centroid[0] += 4.0;
        if (seed % 4 == 1)
            for (double &v : centroid)
                v = 1.0 + 0.05 * (v - 1.0);
        for (int row : {1, 126}) {
            float value[AS_DIM];
            ASSERT_TRUE(nearest_admissible(limits, row, centroid, value)) << test::seed_note(seed) << ", row " << row;
            ASSERT_TRUE(admissible(limits, row, value)) << test::seed_note(seed) << ", row " << row;
            for (float v : value) {
                const double unit = v < 1.0f ? 1e6 : 1e5;
                ASSERT_FLOAT_EQ(v, static_cast<float>(std::round(static_cast<double>(v) * unit) / unit))
                    << test::seed_note(seed) << ": more digits than are printed";
            }
        }
    }
}

/* A table within the limits gives each guarded vector its row, whatever the other rows are. */
TEST(TableLimits, GuardedVectorsAreWonByTheirRows)
{
    const Limits limits = table_limits();
    for (uint64_t seed = 1; seed <= 500; seed++) {
        test::Random random(seed);
        Vector centroid;
        float flat[AS_DIM];
        draw(random, centroid);
        ASSERT_TRUE(nearest_admissible(limits, 126, centroid, flat));
        for (const Guard &guard : limits.guards) {
            Vector at;
            std::copy_n(guard.vector, AS_DIM, at);
            const GivenRow *given = find_given(limits, guard.row);
            const double own = squared_distance(at, given ? given->value : flat);
            /* the row that comes nearest: one that would be at the very place, if it were let */
            for (double &v : at)
                v += random.uniform(-0.1, 0.1);
            float rival[AS_DIM];
            ASSERT_TRUE(nearest_admissible(limits, 1, at, rival)) << test::seed_note(seed);
            std::copy_n(guard.vector, AS_DIM, at);
            ASSERT_LT(own, squared_distance(at, rival)) << test::seed_note(seed) << ", row " << guard.row;
            for (const GivenRow &other : limits.given) {
                if (other.row == guard.row)
                    continue;
                ASSERT_LT(own, squared_distance(at, other.value)) << test::seed_note(seed);
            }
        }
    }
}

/* Of many other admissible rows around the one chosen, none is nearer to the centroid. */
TEST(TableLimits, LevelAndElementsAreMetByTheShortestWay)
{
    Limits limits = table_limits();
    limits.guards.clear();
    int closest = 0;
    for (uint64_t seed = 1; seed <= 300; seed++) {
        test::Random random(seed);
        Vector centroid;
        float best[AS_DIM];
        draw(random, centroid);
        ASSERT_TRUE(nearest_admissible(limits, 1, centroid, best));
        for (int trial = 0; trial < 300; trial++) {
            const double reach = std::pow(10.0, random.uniform(-4.0, 0.0));
            float other[AS_DIM];
            for (int d = 0; d < AS_DIM; d++)
                other[d] = best[d] + static_cast<float>(random.uniform(-reach, reach));
            if (!admissible(limits, 1, other))
                continue;
            closest++;
            /* the chosen row keeps off the limits by a little, for the sake of the rounding */
            ASSERT_LT(std::sqrt(squared_distance(centroid, best)), std::sqrt(squared_distance(centroid, other)) + 1e-4)
                << test::seed_note(seed) << ", trial " << trial;
        }
    }
    EXPECT_GT(closest, 1000) << "too few admissible rows were tried";
}

} // namespace
} // namespace talv
