/* Sine, cosine and arc-cosine against the C library's long double, which knows 64 bits of mantissa on x86. */
#include "dsp/trig.h"

#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

/* Absolute errors. Below -1/2 the arc-cosine is pi, which double holds to 1.2e-16 alone, less twice an arc-sine, and ends
 * in a rounding of a value up to pi: 6.2e-16 is the most that 2e7 random arguments showed there, at -0.517. Where long
 * double is no wider than double the reference errs too.                                                               */
constexpr long double REFERENCE_ERROR = std::numeric_limits<long double>::digits > 53 ? 0.0L : 3e-16L;
constexpr long double BOUND = 4e-16L + REFERENCE_ERROR;
constexpr long double ARC_BOUND_LOW = 7e-16L + REFERENCE_ERROR;

/** Angles over the whole range allowed, dense where the codec works, and on both sides of every quadrant's border */
std::vector<double> angles(uint64_t seed)
{
    std::vector<double> x = {0.0, 1e-300, 1e-17, 1e-8, 1e-3, 1e5, -1e5, 99999.5};
    for (int k = -64; k <= 64; k++) {
        const double border = k * PI / 4.0;
        for (double v : {border, std::nextafter(border, 1e6), std::nextafter(border, -1e6), border + 1e-9})
            x.push_back(v);
    }
    for (int k : {1000, 12345, 31830, -31830, 63661})
        for (double nudge : {-1e-6, 0.0, 1e-6})
            x.push_back(k * PI / 2.0 + nudge);
    Random random(seed);
    for (int i = 0; i < 40000; i++) {
        x.push_back(random.uniform(-8.0, 8.0));
        x.push_back(random.uniform(-1e5, 1e5));
    }
    return x;
}

TEST(Trig, SineAndCosineKeepTheirBound)
{
    constexpr uint64_t SEED = 101;
    for (double x : angles(SEED)) {
        ASSERT_LE(std::fabs(test::exact(cos_wide(x)) - std::cos(test::exact(x))), BOUND)
            << std::hexfloat << "cos_wide(" << x << ") = " << cos_wide(x) << ", " << test::seed_note(SEED);
        ASSERT_LE(std::fabs(test::exact(sin_wide(x)) - std::sin(test::exact(x))), BOUND)
            << std::hexfloat << "sin_wide(" << x << ") = " << sin_wide(x) << ", " << test::seed_note(SEED);
    }
}

TEST(Trig, SymmetriesAreExact)
{
    constexpr uint64_t SEED = 102;
    for (double x : angles(SEED)) {
        ASSERT_EQ(cos_wide(-x), cos_wide(x)) << std::hexfloat << x << ", " << test::seed_note(SEED);
        ASSERT_EQ(sin_wide(-x), -sin_wide(x)) << std::hexfloat << x << ", " << test::seed_note(SEED);
        ASSERT_LE(std::fabs(cos_wide(x)), 1.0) << std::hexfloat << x;
        ASSERT_LE(std::fabs(sin_wide(x)), 1.0) << std::hexfloat << x;
    }
    EXPECT_EQ(sin_wide(0.0), 0.0);
    EXPECT_EQ(cos_wide(0.0), 1.0);
}

TEST(Trig, ReducedAngleIsWhatIsLeftOfTheQuadrant)
{
    constexpr uint64_t SEED = 103;
    for (double x : angles(SEED)) {
        const ReducedAngle<double> a = reduce_angle(x);
        ASSERT_GE(a.quadrant, 0);
        ASSERT_LE(a.quadrant, 3);
        ASSERT_LE(std::fabs(a.rest), PI / 4.0 + 1e-9) << std::hexfloat << x;
        /* x - rest is a whole number of quarter turns, the quadrant of which is that number modulo 4 */
        const long double turns = (test::exact(x) - test::exact(a.rest)) / (test::PI_L / 2.0L);
        ASSERT_NEAR(static_cast<double>(turns - std::round(turns)), 0.0, 1e-10) << std::hexfloat << x;
        ASSERT_EQ(a.quadrant, static_cast<int>(std::lround(turns)) & 3) << std::hexfloat << x;
    }
}

TEST(Trig, ArcCosineKeepsItsBound)
{
    constexpr uint64_t SEED = 104;
    Random random(SEED);
    std::vector<double> x = {0.0, 0.5, -0.5, 1.0, -1.0, 1e-300, 1e-9, -1e-9};
    for (double border : {0.5, -0.5, 0.0})
        for (double to : {-2.0, 2.0})
            x.push_back(std::nextafter(border, to));
    for (int e = 1; e <= 53; e++) { /* towards both ends, where the slope has no bound */
        x.push_back(1.0 - std::ldexp(1.0, -e));
        x.push_back(-1.0 + std::ldexp(1.0, -e));
    }
    for (int i = 0; i < 40000; i++)
        x.push_back(random.uniform(-1.0, 1.0));
    for (double v : x)
        ASSERT_LE(std::fabs(test::exact(acos_wide(v)) - std::acos(test::exact(v))), v >= -0.5 ? BOUND : ARC_BOUND_LOW)
            << std::hexfloat << "acos_wide(" << v << ") = " << acos_wide(v) << ", " << test::seed_note(SEED);

    EXPECT_EQ(acos_wide(1.0), 0.0);
    EXPECT_EQ(acos_wide(-1.0), PI);
    EXPECT_EQ(acos_wide(1.0000001), 0.0) << "a rounding beyond the range counts as its end";
    EXPECT_EQ(acos_wide(-1.0000001), PI);
}

TEST(Trig, WorksAtCompileTime)
{
    constexpr double half = sin_wide(PI / 6.0);
    static_assert(half > 0.4999999999999995 && half < 0.5000000000000005);
    static_assert(cos_wide(PI) == -1.0);
    volatile double angle = PI / 6.0; /* the same bits at run time */
    EXPECT_EQ(sin_wide(angle), half);
}

} // namespace
} // namespace talv
