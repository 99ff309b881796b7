/* Training on vectors that are made up, so that the right answer is known. */
#include "training/lloyd.h"

#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

/** Amplitude vectors of a few kinds: each a random shape with some spread, brought to mean square 1 */
std::vector<float> made_up_vectors(size_t n, uint64_t seed)
{
    test::Random random(seed);
    constexpr int KINDS = 24;
    double shape[KINDS][AS_DIM];
    for (auto &kind : shape)
        for (double &v : kind)
            v = random.uniform(0.1, 2.0);
    std::vector<float> vectors;
    for (size_t i = 0; i < n; i++) {
        double v[AS_DIM], square = 0.0;
        const int kind = random.integer(0, KINDS - 1);
        for (int d = 0; d < AS_DIM; d++) {
            v[d] = shape[kind][d] * random.uniform(0.6, 1.4);
            square += v[d] * v[d];
        }
        for (double e : v)
            vectors.push_back(static_cast<float>(e * std::sqrt(AS_DIM / square)));
    }
    return vectors;
}

TrainingPlan small_plan(int threads)
{
    TrainingPlan plan;
    plan.rows = 128;
    plan.seed = 11;
    plan.restarts = 2;
    plan.threads = threads;
    return plan;
}

TEST(Partition, MatchesASearchOneByOne)
{
    const std::vector<float> vectors = made_up_vectors(5000, 1);
    const Codebook codebook = made_up_vectors(40, 2);
    Partition cells;
    partition(vectors, codebook, 2, &cells);
    std::vector<uint64_t> count(40);
    std::vector<double> sum(40 * AS_DIM);
    double cost = 0.0;
    for (size_t i = 0; i < 5000; i++) {
        double best = 1e9;
        size_t nearest = 0;
        for (size_t r = 0; r < 40; r++) {
            double e = 0.0;
            for (size_t d = 0; d < AS_DIM; d++)
                e += std::pow(
                    static_cast<double>(vectors[i * AS_DIM + d]) - static_cast<double>(codebook[r * AS_DIM + d]), 2);
            if (e < best) {
                best = e;
                nearest = r;
            }
        }
        ASSERT_EQ(cells.nearest[i], static_cast<int32_t>(nearest)) << "vector " << i;
        count[nearest]++;
        cost += best / 5000.0;
        for (size_t d = 0; d < AS_DIM; d++)
            sum[nearest * AS_DIM + d] += static_cast<double>(vectors[i * AS_DIM + d]);
    }
    EXPECT_EQ(cells.count, count);
    EXPECT_NEAR(cells.mean_cost, cost, 1e-9);
    for (size_t k = 0; k < sum.size(); k++)
        EXPECT_NEAR(cells.sum[k], sum[k], 1e-8);
}

TEST(Training, SameTableOnAnyNumberOfThreads)
{
    const std::vector<float> vectors = made_up_vectors(9000, 3);
    const Training one = train(vectors, table_limits(), small_plan(1));
    for (int threads : {1, 2, 3}) {
        const Training again = train(vectors, table_limits(), small_plan(threads));
        ASSERT_EQ(again.codebook.size(), one.codebook.size());
        EXPECT_TRUE(test::same_bits(again.codebook.data(), one.codebook.data(), 128 * AS_DIM)) << threads << " threads";
        EXPECT_EQ(again.pass, one.pass) << threads << " threads";
    }
    TrainingPlan other = small_plan(2);
    other.seed = 12;
    EXPECT_NE(train(vectors, table_limits(), other).codebook, one.codebook) << "the seed has no effect";
}

TEST(Training, EveryPassLowersTheDistortionUntilTheGainIsSmall)
{
    const std::vector<float> vectors = made_up_vectors(9000, 4);
    for (const Limits &limits : {no_limits(), table_limits()})
        for (uint64_t run = 0; run < 3; run++) {
            const Codebook start = starting_codebook(vectors, 128, limits, 7, run);
            const Training got = lloyd(vectors, start, limits, 1e-5, 1000, 2);
            ASSERT_GT(got.pass.size(), 3u);
            for (size_t p = 1; p + 1 < got.pass.size(); p++)
                EXPECT_LE(got.pass[p], got.pass[p - 1] * (1.0 - 1e-5)) << "pass " << p << ", run " << run;
            EXPECT_GT(got.pass.back(), got.pass[got.pass.size() - 2] * (1.0 - 1e-5)) << "ended too early";
            EXPECT_LE(got.pass.back(), got.pass[got.pass.size() - 2] * (1.0 + 1e-9)) << "the last pass went up";

            Partition cells;
            partition(vectors, got.codebook, 1, &cells);
            EXPECT_DOUBLE_EQ(cells.mean_cost, got.mean_cost) << "not the distortion of the codebook returned";
        }
}

TEST(Training, RowsKeepToTheirLimits)
{
    const Limits limits = table_limits();
    const Training got = train(made_up_vectors(6000, 5), limits, small_plan(2));
    for (int r = 0; r < 128; r++)
        EXPECT_TRUE(admissible(limits, r, got.codebook.data() + r * AS_DIM)) << "row " << r;
    for (const GivenRow &given : limits.given)
        EXPECT_TRUE(test::same_bits(got.codebook.data() + given.row * AS_DIM, given.value, AS_DIM));
}

/** Well parted: each has one element of its own that is large */
std::vector<float> corners(int n)
{
    std::vector<float> centres;
    for (int c = 0; c < n; c++)
        for (int d = 0; d < AS_DIM; d++)
            centres.push_back(d == c ? 3.0f : 0.5f);
    return centres;
}

/** Clusters of points around known centres */
std::vector<float> clusters(const std::vector<float> &centres, int each, double spread, uint64_t seed)
{
    test::Random random(seed);
    std::vector<float> vectors;
    for (int i = 0; i < each; i++)
        for (size_t c = 0; c < centres.size() / AS_DIM; c++)
            for (size_t d = 0; d < AS_DIM; d++)
                vectors.push_back(centres[c * AS_DIM + d] + static_cast<float>(random.uniform(-spread, spread)));
    return vectors;
}

TEST(Training, FindsTheClustersThereAre)
{
    const std::vector<float> centres = corners(8);
    const std::vector<float> vectors = clusters(centres, 200, 0.1, 6);
    TrainingPlan plan = small_plan(2);
    plan.rows = 8;
    const Training got = train(vectors, no_limits(), plan);
    /* an even spread of +-0.1 has a variance of 0.01 / 3 in each of ten elements */
    EXPECT_NEAR(got.mean_cost, AS_DIM * 0.01 / 3.0, 0.002);
    for (int c = 0; c < 8; c++) {
        const bool found = [&] {
            for (int r = 0; r < 8; r++)
                if (test::all_near(got.codebook.data() + r * AS_DIM, centres.data() + c * AS_DIM, AS_DIM, 0.03))
                    return true;
            return false;
        }();
        EXPECT_TRUE(found) << "cluster " << c;
    }
}

/* Three rows so far out that nothing falls on them: they are to end in the clusters that share a row. */
TEST(Training, EmptyCellsAreFilledFromTheCostliest)
{
    const std::vector<float> centres = corners(4);
    const std::vector<float> vectors = clusters(centres, 300, 0.1, 8);
    Codebook start(centres.begin(), centres.begin() + AS_DIM);
    start.resize(4 * AS_DIM, 1000.0f);
    const Training got = lloyd(vectors, start, no_limits(), 1e-5, 1000, 1);
    EXPECT_GE(got.reseeded, 3);
    EXPECT_NEAR(got.mean_cost, AS_DIM * 0.01 / 3.0, 0.002) << "each cluster has its row";
    for (float v : got.codebook)
        EXPECT_LT(v, 4.0f) << "a row was left outside";
}

TEST(Training, TheBestRestartWins)
{
    const std::vector<float> vectors = made_up_vectors(4000, 9);
    TrainingPlan plan = small_plan(2);
    plan.restarts = 5;
    const Training got = train(vectors, no_limits(), plan);
    double best = 1e9, worst = 0.0;
    for (uint64_t run = 0; run < 5; run++) {
        const Codebook start = starting_codebook(vectors, plan.rows, no_limits(), plan.seed, run);
        const double cost = lloyd(vectors, start, no_limits(), plan.least_gain, 1000, 1).mean_cost;
        best = std::min(best, cost);
        worst = std::max(worst, cost);
    }
    EXPECT_EQ(got.mean_cost, best);
    EXPECT_EQ(got.worst_restart, worst);
    EXPECT_LT(best, worst);
}

TEST(Training, FewerVectorsThanRows)
{
    const std::vector<float> vectors = made_up_vectors(50, 10);
    TrainingPlan plan = small_plan(2);
    const Training got = train(vectors, no_limits(), plan);
    EXPECT_LT(got.mean_cost, 1e-9) << "each vector has a row of its own, up to six digits";
    EXPECT_THROW(train({}, no_limits(), plan), std::runtime_error);
}

} // namespace
} // namespace talv
