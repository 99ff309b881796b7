/* LSF to LPC, the walk between two vectors, and the repair of a vector. */
#include "dsp/lsf.h"

#include "dsp/constants.h"
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

/** An ascending vector with gaps of at least `gap`: sorted uniform draws, spread by the gaps */
std::vector<float> random_lsf(int order, double gap, uint64_t seed)
{
    Random random(seed);
    std::vector<double> w(static_cast<size_t>(order));
    for (double &v : w)
        v = random.uniform(0.0, 3.14159 - gap * (order + 1));
    std::sort(w.begin(), w.end());
    std::vector<float> lsf(w.size());
    for (size_t k = 0; k < w.size(); k++)
        lsf[k] = static_cast<float>(w[k] + gap * static_cast<double>(k + 1));
    return lsf;
}

std::vector<float> start_vector()
{
    std::vector<float> lsf(LPC_ORDER);
    for (int k = 0; k < LPC_ORDER; k++)
        lsf[static_cast<size_t>(k)] = 0.25f * static_cast<float>(k + 1);
    return lsf;
}

struct WideLpc {
    std::vector<long double> a; /* coefficients of z^-1 .. z^-order                                     */
    long double largest;        /* largest coefficient of S or D after any factor: what rounding scales with */
};

/** A(z) = 1/2 (S(z) (1 + z^-1) + D(z) (1 - z^-1)) in long double */
WideLpc lpc_of(const std::vector<float> &lsf)
{
    std::vector<long double> product[2] = {{1.0L}, {1.0L}};
    WideLpc wide = {std::vector<long double>(lsf.size()), 1.0L};
    for (size_t k = 0; k < lsf.size(); k++) {
        std::vector<long double> &poly = product[k % 2];
        const long double c = -2.0L * std::cos(test::exact(lsf[k]));
        std::vector<long double> next(poly.size() + 2, 0.0L);
        for (size_t i = 0; i < poly.size(); i++) {
            next[i] += poly[i];
            next[i + 1] += c * poly[i];
            next[i + 2] += poly[i];
        }
        for (long double v : next)
            wide.largest = std::max(wide.largest, std::fabs(v));
        poly = next;
    }
    for (size_t j = 1; j <= lsf.size(); j++)
        wide.a[j - 1] = 0.5L * (product[0][j] + product[0][j - 1] + product[1][j] - product[1][j - 1]);
    return wide;
}

TEST(LsfToLpc, StartVector)
{
    const double want[LPC_ORDER] = {-1.48084, 1.71630,   -1.75468, 1.63116,   -1.38800,
                                    1.07495,  -0.744189, 0.443485, -0.209428, 0.0618275};
    float lpc[LPC_ORDER];
    ASSERT_EQ(lsf_to_lpc(LPC_ORDER, start_vector().data(), lpc), 0);
    EXPECT_TRUE(test::all_near(lpc, want, LPC_ORDER, 5.1e-6)) << "half of the last digit given, and the rounding";
}

TEST(LsfToLpc, EqualsThePolynomialProducts)
{
    for (int order : {2, 4, 10, 16, 32})
        for (uint64_t seed = 300; seed < 340; seed++) {
            SCOPED_TRACE(test::seed_note(seed) + ", order " + std::to_string(order));
            const std::vector<float> lsf = random_lsf(order, 0.04, seed);
            const WideLpc want = lpc_of(lsf);
            /* Each of the order/2 factors rounds its cosine and every coefficient once, 2^-24 of the largest at most,
             * and the factors that follow, whose coefficients add up to 4 at most, enlarge the error. Order 32, which
             * the codec does not use, is ill-conditioned in floats: only a wrong formula shows there.              */
            const double tolerance = static_cast<double>(want.largest) * order * (order > 16 ? 0x1p-15 : 0x1p-22);
            std::vector<float> got(static_cast<size_t>(order));
            ASSERT_EQ(lsf_to_lpc(order, lsf.data(), got.data()), 0);
            EXPECT_TRUE(test::all_near(got.data(), want.a.data(), order, tolerance));
        }
}

TEST(LsfToLpc, OrdersOverTheLimitAreRefused)
{
    float lsf[40], lpc[80];
    for (int k = 0; k < 40; k++)
        lsf[k] = 0.05f * static_cast<float>(k + 1);
    std::fill(std::begin(lpc), std::end(lpc), 7.0f);
    EXPECT_EQ(lsf_to_lpc(33, lsf, lpc), -1);
    EXPECT_EQ(lsf_to_lpc(34, lsf, lpc), -1);
    EXPECT_EQ(intrp_lsf_lpc(lsf, lsf, 17, 2, lpc), -1);
    EXPECT_EQ(intrp_lsf_lpc(lsf, lsf, 18, 2, lpc), -1);
    EXPECT_TRUE(std::all_of(std::begin(lpc), std::end(lpc), [](float v) { return v == 7.0f; })) << "output was written";

    EXPECT_EQ(lsf_to_lpc(32, lsf, lpc), 0);
    EXPECT_EQ(intrp_lsf_lpc(lsf, lsf, 16, 4, lpc), 0);
}

/** Next to a quarter of the circle a cosine is so small that a short series cannot tell to which float it is rounded. */
TEST(IntrpLsfLpc, CosinesNextToZero)
{
    std::vector<float> lsf = random_lsf(LPC_ORDER, 0.04, 380);
    for (const size_t k : {size_t{4}, size_t{5}}) {
        float w = 1.5707959f; /* three floats below pi/2 */
        for (int i = 0; i < 8; i++, w = std::nextafter(w, 4.0f)) {
            lsf[k] = w;
            float want[LPC_ORDER], got[LPC_ORDER];
            lsf_to_lpc(LPC_ORDER, lsf.data(), want);
            ASSERT_EQ(intrp_lsf_lpc(lsf.data(), lsf.data(), LPC_ORDER, 1, got), 0);
            EXPECT_TRUE(test::same_bits(got, want, LPC_ORDER)) << "element " << k << " at " << w;
        }
    }
}

TEST(IntrpLsfLpc, StepsAreRunningSums)
{
    for (int steps : {1, 3, 4, 7, 12})
        for (uint64_t seed = 390; seed < 400; seed++) {
            SCOPED_TRACE(test::seed_note(seed) + ", steps " + std::to_string(steps));
            const std::vector<float> from = random_lsf(LPC_ORDER, 0.04, seed);
            std::vector<float> to = random_lsf(LPC_ORDER, 0.04, seed + 1000);
            if (seed % 5 == 0) /* up to three half turns: every cosine is wanted, not only those of LSFs */
                for (float &v : to)
                    v *= 3.0f;
            std::vector<float> got(static_cast<size_t>(steps * LPC_ORDER) + 1, 9.0f);
            ASSERT_EQ(intrp_lsf_lpc(from.data(), to.data(), LPC_ORDER, steps, got.data()), 0);
            EXPECT_EQ(got.back(), 9.0f) << "wrote behind the last vector";

            const float share = 1.0f / static_cast<float>(steps);
            float cur[LPC_ORDER], increment[LPC_ORDER], want[LPC_ORDER];
            for (size_t k = 0; k < LPC_ORDER; k++) {
                cur[k] = from[k];
                increment[k] = static_cast<float>((static_cast<double>(to[k]) - static_cast<double>(from[k])) *
                                                  static_cast<double>(share));
            }
            for (int s = 0; s < steps; s++) {
                for (size_t k = 0; k < LPC_ORDER; k++)
                    cur[k] += increment[k];
                lsf_to_lpc(LPC_ORDER, cur, want);
                EXPECT_TRUE(test::same_bits(got.data() + s * LPC_ORDER, want, LPC_ORDER)) << "step " << s;
            }
        }
}

struct StabilizeCase {
    const char *name;
    float lsf[LPC_ORDER];
    double want[LPC_ORDER];
};

TEST(LsfStabilize, WorkedVectors)
{
    // clang-format off
    const StabilizeCase cases[] = {
        {"close pair opens around its midpoint",
         {0.3f, 0.31f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.7f},
         {0.295, 0.315, 0.6, 0.9, 1.2, 1.5, 1.8, 2.1, 2.4, 2.7}},
        {"crossed pair opens around the upper element",
         {0.2f, 0.5f, 0.4f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.7f},
         {0.2, 0.49, 0.51, 0.9, 1.2, 1.5, 1.8, 2.1, 2.4, 2.7}},
        {"of three close elements the third can only go up",
         {0.2f, 0.5f, 0.505f, 0.51f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.7f},
         {0.2, 0.4925, 0.5125, 0.5325, 1.2, 1.5, 1.8, 2.1, 2.4, 2.7}},
        {"negative first element",
         {-0.5f, 0.3f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.7f},
         {0.02, 0.3, 0.6, 0.9, 1.2, 1.5, 1.8, 2.1, 2.4, 2.7}},
        {"first element too small",
         {0.001f, 0.3f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.7f},
         {0.02, 0.3, 0.6, 0.9, 1.2, 1.5, 1.8, 2.1, 2.4, 2.7}},
        {"all zero",
         {},
         {0.02, 0.04, 0.06, 0.08, 0.10, 0.12, 0.14, 0.16, 0.18, 0.20}},
        {"all above the top",
         {3.2f, 3.2f, 3.2f, 3.2f, 3.2f, 3.2f, 3.2f, 3.2f, 3.2f, 3.2f},
         {2.94159, 2.96159, 2.98159, 3.00159, 3.02159, 3.04159, 3.06159, 3.08159, 3.10159, 3.12159}},
        {"the clamp leaves two too close and the way down opens them",
         {0.3f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 3.11f, 3.2f},
         {0.3, 0.6, 0.9, 1.2, 1.5, 1.8, 2.1, 2.4, 3.10159, 3.12159}},
        {"largest levels of the quantiser, far beyond pi",
         {0.496309f, 1.080362f, 1.810132f, 2.628746f, 3.464184f, 4.258961f, 5.080770f, 5.728611f, 6.645001f, 7.165306f},
         {0.496309, 1.080362, 1.810132, 2.628746, 3.02159, 3.04159, 3.06159, 3.08159, 3.10159, 3.12159}},
    };
    // clang-format on
    for (const StabilizeCase &c : cases) {
        float lsf[LPC_ORDER];
        std::copy(std::begin(c.lsf), std::end(c.lsf), lsf);
        EXPECT_EQ(lsf_stabilize(lsf, LPC_ORDER, LSF_SPACING_DECODED), 0) << c.name;
        EXPECT_TRUE(test::all_near(lsf, c.want, LPC_ORDER, 1.5e-6)) << c.name;
    }
}

TEST(LsfStabilize, LeavesAWellSpacedVectorAlone)
{
    std::vector<float> start = start_vector();
    EXPECT_EQ(lsf_stabilize(start.data(), LPC_ORDER, LSF_SPACING_DECODED), 0);
    EXPECT_TRUE(test::same_bits(start.data(), start_vector().data(), LPC_ORDER));
    for (uint64_t seed = 410; seed < 450; seed++) {
        const std::vector<float> lsf = random_lsf(LPC_ORDER, 0.041, seed);
        std::vector<float> got = lsf;
        EXPECT_EQ(lsf_stabilize(got.data(), LPC_ORDER, LSF_SPACING_ANALYSIS), 0);
        EXPECT_TRUE(test::same_bits(got.data(), lsf.data(), LPC_ORDER)) << test::seed_note(seed);
    }
}

TEST(LsfStabilize, AnyFiniteInputEndsOrderedSpacedAndInRange)
{
    constexpr double ROUNDING = 1e-6;
    for (uint64_t seed = 460; seed < 2460; seed++) {
        Random random(seed);
        /* unordered in range, clustered, far outside, and huge */
        const double spans[4][2] = {{0.0, 3.2}, {1.0, 1.1}, {-5.0, 9.0}, {-1e30, 1e30}};
        const double *span = spans[seed % 4];
        const float spacing = seed % 3 == 0 ? 0.28f : seed % 3 == 1 ? LSF_SPACING_ANALYSIS : LSF_SPACING_DECODED;
        float room[LPC_ORDER + 2], *lsf = room + 1;
        for (float &v : room)
            v = static_cast<float>(random.uniform(span[0], span[1]));
        const float before = room[0], behind = room[LPC_ORDER + 1];
        ASSERT_EQ(lsf_stabilize(lsf, LPC_ORDER, spacing), 0) << test::seed_note(seed);
        ASSERT_TRUE(room[0] == before && room[LPC_ORDER + 1] == behind) << "wrote beside it, " << test::seed_note(seed);
        const double d = static_cast<double>(spacing);
        ASSERT_GE(static_cast<double>(lsf[0]), d - ROUNDING) << test::seed_note(seed);
        for (int k = 1; k < LPC_ORDER; k++)
            ASSERT_GE(static_cast<double>(lsf[k]) - static_cast<double>(lsf[k - 1]), d - ROUNDING)
                << "element " << k << ", " << test::seed_note(seed);
        ASSERT_LE(static_cast<double>(lsf[LPC_ORDER - 1]), LSF_TOP - d + ROUNDING) << test::seed_note(seed);
    }
}

TEST(LsfStabilize, SpacingThatCannotBeMetSpreadsEvenly)
{
    /* the border is 3.14159 / 11 = 0.2855991 */
    float lsf[LPC_ORDER] = {1.0f, -1.0f, 5.0f};
    double want[LPC_ORDER];
    for (int k = 0; k < LPC_ORDER; k++)
        want[k] = 3.14159 / 11.0 * (k + 1);
    EXPECT_EQ(lsf_stabilize(lsf, LPC_ORDER, 0.3f), -1);
    EXPECT_TRUE(test::all_near(lsf, want, LPC_ORDER, 1e-6));
    EXPECT_EQ(lsf_stabilize(lsf, LPC_ORDER, 0.2856f), -1);
    EXPECT_EQ(lsf_stabilize(lsf, LPC_ORDER, 0.2855f), 0);
}

} // namespace
} // namespace talv
