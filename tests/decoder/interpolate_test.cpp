/** Waveform interpolation: the spline, the glide of two read positions, the cross-fade and the continuity rule */
#include "decoder/interpolate.h"
#include "dsp/constants.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace
{

using namespace talv;

constexpr int L_MAX = 80; /* longest subframe */
/* The steps are running float sums, so a position strays by up to 4e-4 grid points over a subframe; the random cycles
 * reach 6 and change by as much from point to point. */
constexpr double GLIDE_LIMIT = 3e-3;

/** A coefficient array with room for index -1 .. FFT_MAX + 1, every element random */
struct Cycle {
    int n;
    std::vector<float> store;

    Cycle(int grid, uint64_t seed) : n(grid), store(test::noise(CYCLE_STORE, 1.0, seed)) {}
    float *at0() { return store.data() + 1; }
    double around(int i) const { return static_cast<double>(store[static_cast<size_t>(1 + ((i % n) + n) % n)]); }
};

/** The cubic B-spline itself, times 6: 4 at the middle, 1 one point away */
double kernel(double u)
{
    u = std::fabs(u);
    if (u >= 2.0)
        return 0.0;
    return u >= 1.0 ? (2.0 - u) * (2.0 - u) * (2.0 - u) : 4.0 - 6.0 * u * u + 3.0 * u * u * u;
}

/** A periodic cycle at any position: the sum over shifted kernels */
double reading(const Cycle &cycle, double pos)
{
    const int i = static_cast<int>(std::floor(pos));
    double sum = 0.0;
    for (int j = i - 2; j <= i + 3; j++)
        sum += cycle.around(j) * kernel(pos - j);
    return sum;
}

TEST(SplineValue, SumOfShiftedKernels)
{
    const uint64_t seed = 3;
    SCOPED_TRACE(test::seed_note(seed));
    Cycle cycle(64, seed);
    set_guards(cycle.at0(), cycle.n);
    test::Random random(seed);
    for (int trial = 0; trial < 5000; trial++) {
        const double pos = random.uniform(0.0, 64.0);
        ASSERT_NEAR(spline_value(cycle.at0(), pos), reading(cycle, pos), 1e-12) << "position " << pos;
    }
}

/** The same thing without running sums: positions by the sum of an arithmetic series, readings by the kernel */
struct Glide {
    double out[L_MAX];
    double pos_end; /* of the new cycle after the last advance, over its whole way */
};

Glide plain_glide(const Cycle &old_cycle, const Cycle &new_cycle, int p_old, int p_new, int L, double phase)
{
    double f0 = 1.0 / p_old, f1 = 1.0 / p_new;
    double pos_old = phase, pos_new = phase / old_cycle.n * new_cycle.n;
    const int r = std::max(p_old, p_new) / std::min(p_old, p_new);
    if (p_new < p_old) {
        f1 /= r;
        pos_new *= r;
    } else if (p_new > p_old) {
        f0 /= r;
        pos_new /= r;
    }
    Glide g;
    for (int j = 0; j <= L; j++) {
        const double cycles = f0 * j + (f1 - f0) / L * (0.5 * j * (j - 1)); /* gone through before sample j */
        const double b = pos_new + cycles * new_cycle.n;
        if (j < L) {
            const double A = reading(old_cycle, pos_old + cycles * old_cycle.n), B = reading(new_cycle, b);
            g.out[j] = A + static_cast<double>(j) / L * (B - A);
        } else {
            g.pos_end = b;
        }
    }
    return g;
}

int grid_of(int p)
{
    return p <= 32 ? 32 : p <= 64 ? 64 : 128;
}

TEST(CwInterpolate, AgainstPlainGlideForEveryPairOfLags)
{
    const int lengths[10] = {20, 30, 21, 24, 26, 32, 34, 40, 60, 80};
    int trial = 0;
    for (int p_old = LAG_MIN; p_old <= LAG_MAX_FRAME; p_old++)
        for (int p_new = LAG_MIN + p_old % 3; p_new <= LAG_MAX_FRAME; p_new += 3, trial++) {
            const uint64_t seed = static_cast<uint64_t>(p_old * 1000 + p_new);
            Cycle old_cycle(grid_of(p_old), seed), new_cycle(grid_of(p_new), seed + 500000);
            const std::vector<float> old_before = old_cycle.store, new_before = new_cycle.store;
            test::Random random(seed);
            const int L = lengths[trial % 10];
            /* up to a step beyond the grid, as a subframe may leave it */
            const float start = static_cast<float>(random.uniform(0.0, old_cycle.n * (1.0 + 1.0 / p_old)));
            const int end = (L + 3) / 4 * 4; /* whole groups of four */
            float phase = start, out[L_MAX + 1];
            out[end] = -7.0f;
            cw_interpolate(old_cycle.n, new_cycle.n, old_cycle.at0(), new_cycle.at0(), p_old, p_new, L, out, &phase);

            const Glide want = plain_glide(old_cycle, new_cycle, p_old, p_new, L, static_cast<double>(start));
            SCOPED_TRACE("lags " + std::to_string(p_old) + " to " + std::to_string(p_new) + ", L " + std::to_string(L) +
                         ", phase " + std::to_string(start) + ", seed " + std::to_string(seed));
            ASSERT_TRUE(test::all_near(out, want.out, L, GLIDE_LIMIT));
            ASSERT_EQ(out[end], -7.0f) << "wrote past the end";
            const double n = new_cycle.n;
            ASSERT_NEAR(std::remainder(static_cast<double>(phase) - want.pos_end, n), 0.0, 1e-3);
            ASSERT_GE(phase, 0.0f);
            ASSERT_LT(static_cast<double>(phase), n * (1.0 + 1.01 / std::min(p_old, p_new))) << "a step beyond at most";

            for (Cycle *c : {&old_cycle, &new_cycle}) { /* guards set, coefficients as they were */
                const std::vector<float> &before = c == &old_cycle ? old_before : new_before;
                ASSERT_TRUE(test::same_bits(c->at0(), before.data() + 1, c->n));
                ASSERT_EQ(c->at0()[-1], c->at0()[c->n - 1]);
                ASSERT_EQ(c->at0()[c->n], c->at0()[0]);
                ASSERT_EQ(c->at0()[c->n + 1], c->at0()[1]);
            }
        }
}

/** On one grid, against one step after the other, to the last bit. Among the starts are some whose sums are not exact in
 *  double, and among the lags those whose step passes a power of two. */
TEST(CwInterpolate, PositionsAreRunningSums)
{
    for (const int L : {20, 31, 80})
        for (int p_old = LAG_MIN; p_old <= LAG_MAX_FRAME; p_old++)
            for (const int p_new : {p_old, p_old + 1, p_old - 1, p_old + 7, p_old - 12}) {
                const int n = grid_of(p_old);
                if (p_new < LAG_MIN || p_new > LAG_MAX_FRAME || grid_of(p_new) != n)
                    continue;
                const float f0 = 1.0f / static_cast<float>(p_old), f1 = 1.0f / static_cast<float>(p_new);
                const float size = static_cast<float>(n), d = (f1 - f0) / static_cast<float>(L);
                for (const float start : {0.0f, 5.3f, size - 0.1f, size + 0.5f, 1e-9f, 1.0f / 3.0f}) {
                    Cycle old_cycle(n, static_cast<uint64_t>(p_old)), new_cycle(n, static_cast<uint64_t>(p_new) + 999);
                    float phase = start, out[L_MAX + 4];
                    cw_interpolate(n, n, old_cycle.at0(), new_cycle.at0(), p_old, p_new, L, out, &phase);
                    double pos = static_cast<double>(start);
                    float step = f0 * size, t = 0.0f;
                    for (int j = 0; j < L; j++) {
                        pos -= pos >= n ? n : 0;
                        const double A = static_cast<double>(static_cast<float>(spline_value(old_cycle.at0(), pos)));
                        const double B = spline_value(new_cycle.at0(), pos);
                        ASSERT_TRUE(test::same_bits(out[j], static_cast<float>(A + static_cast<double>(t) * (B - A))))
                            << "lags " << p_old << ", " << p_new << ", start " << start << ", sample " << j;
                        pos += static_cast<double>(step);
                        step += d * size;
                        t = static_cast<float>(static_cast<double>(t) + 1.0 / L);
                    }
                    ASSERT_TRUE(test::same_bits(phase, static_cast<float>(pos)))
                        << "lags " << p_old << ", " << p_new << ", start " << start;
                }
            }
}

/** After the old cycle was dropped for one on a shorter grid the position comes down by one grid a sample. Until it is
 *  below the grid it reads what stands behind the guards, inside the room of the array. */
TEST(CwInterpolate, PositionBeyondAShorterGrid)
{
    Cycle old_cycle(32, 21), new_cycle(32, 22);
    const int L = 20, p = 25;
    struct Case {
        float start;
        int outside; /* samples read beyond the guards: at start - 32, start - 64 + a step, ... */
    };
    for (const auto &[start, want_outside] :
         {Case{32.0f, 0}, {63.5f, 0}, {64.0f, 1}, {94.0f, 1}, {96.0f, 2}, {120.0f, 2}, {127.99f, 3}, {129.0f, 3}}) {
        float phase = start, out[L_MAX];
        cw_interpolate(32, 32, old_cycle.at0(), new_cycle.at0(), p, p, L, out, &phase);
        double pos = static_cast<double>(start);
        int outside = 0;
        for (int j = 0; j < L; j++) {
            pos -= pos >= 32.0 ? 32.0 : 0.0;
            outside += pos >= 32.0;
            double v[2] = {0.0, 0.0};
            const int i = static_cast<int>(pos);
            for (int k = i - 1; k <= i + 2; k++) {
                v[0] += static_cast<double>(old_cycle.at0()[k]) * kernel(pos - k);
                v[1] += static_cast<double>(new_cycle.at0()[k]) * kernel(pos - k);
            }
            ASSERT_NEAR(static_cast<double>(out[j]), v[0] + static_cast<double>(j) / L * (v[1] - v[0]), GLIDE_LIMIT)
                << "start " << start << ", sample " << j << ", position " << pos;
            pos += 32.0 / p;
        }
        EXPECT_EQ(outside, want_outside) << "start " << start;
    }
}

TEST(ContinuityBreak, Bounds)
{
    struct Case {
        float rs_before, rs_now, gain_before, gain_now;
        bool want;
    };
    const Case cases[] = {
        {0.75f, 0.25f, 1.0f, 1.0f, false}, /* a loss of exactly one half does not count */
        {0.75f, 0.2499f, 1.0f, 1.0f, true}, {1.0f, 0.5f, 1.0f, 1.0f, false}, {1.0f, 0.0f, 1.0f, 1.0f, true},
        {0.0f, 1.0f, 1.0f, 1.0f, false}, /* growing noisiness is cross-faded */
        {0.5f, 0.5f, 2.0f, 6.0f, false}, /* neither does three times the level */
        {0.5f, 0.5f, 2.0f, 6.0001f, true},  {0.5f, 0.5f, 6.0f, 0.0f, false}, {0.5f, 0.5f, 0.0f, 0.0f, false},
        {0.5f, 0.5f, 0.0f, 1e-9f, true},    {0.9f, 0.1f, 0.0f, 1.0f, true},
    };
    for (const Case &c : cases)
        EXPECT_EQ(continuity_break(c.rs_before, c.rs_now, c.gain_before, c.gain_now), c.want)
            << "periodicity " << c.rs_before << " to " << c.rs_now << ", gain " << c.gain_before << " to "
            << c.gain_now;
}

} // namespace
