#include "encoder/lsf_roots.h"

#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/simd_chain.h"
#include "dsp/trig.h"
#include "dsp/wide.h"
#include "encoder/near_roots.h"

#include <algorithm>
#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{
constexpr int ORDER_ROOM = (ORDER_MAX + LANES - 1) / LANES * LANES;
} // namespace

float cheb_eval(float x, const float *c, int n) noexcept
{
    float b = 0.0f, b1 = 0.0f, b2 = 0.0f;
    float last_b2 = 0.0f; /* the b2 that entered the last step */
    for (int i = n - 1; i >= 0; i--) {
        b = rounded(2 * wide(x) * wide(b1) - wide(b2) + wide(c[i]));
        last_b2 = b2;
        b2 = b1;
        b1 = b;
    }
    return rounded((wide(c[0]) - wide(last_b2) + wide(b)) * wide(0.5));
}

namespace
{

/** Chebyshev series of the sum and difference polynomials, without their roots at z = -1 and z = +1
 *  c0, c1  O  [order/2 + 1]                                                                           */
void polynomial_pair(const float *a, int order, float *c0, float *c1) noexcept
{
    const int h = order / 2;
    float p = 1.0f, q = 1.0f;
    c0[h] = c1[h] = 2.0f;
    for (int i = 1; i <= h; i++) {
        // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): levinson() has written all of a
        p = a[i - 1] + a[order - i] - p;
        q = a[i - 1] - a[order - i] + q;
        c0[h - i] = 2.0f * p;
        c1[h - i] = 2.0f * q;
    }
    c0[0] = p;
    c1[0] = q;
}

/** A root, and where the walk goes on if it lies no lower than the one before */
struct Root {
    float at, below;
};

/** cheb_eval(), but for a fused operation where wide_t is float */
[[gnu::noinline]] float value_at(const Series &series, float x) noexcept
{
    const wide_t two_x = wide(x) + wide(x);
    wide_t b1 = wide(0), b2 = wide(0), last_b2 = wide(0);
    for (int i = series.terms - 1; i >= 0; i--) {
        const wide_t b = wide(rounded(add_exact(-b2, two_x, b1) + series.w[i]));
        last_b2 = b2;
        b2 = b1;
        b1 = b;
    }
    return rounded((series.w[0] - last_b2 + b1) * wide(0.5));
}

constexpr bool same_sign(float x, float y) noexcept
{
    return (x > 0.0f && y > 0.0f) || (x < 0.0f && y < 0.0f);
}

/** The next root as it is defined: a walk down to the first step across which the series changes sign, a value of 0
 *  counting as a change; bisection; and a secant
 *  return   whether there is one: without, the walk has ended at -1                                                  */
[[gnu::noinline]] bool walk_to_root(const Series &series, float from, Root *root) noexcept
{
    float upper = from, lower = from, at_upper, at_lower = value_at(series, from);
    do {
        if (lower <= -1.0f)
            return false;
        upper = lower;
        at_upper = at_lower;
        lower = rounded(wide(upper) - (wide(upper) * wide(upper) * wide(STEP_BEND) + wide(STEP_BASE)));
        lower = std::max(lower, -1.0f);
        at_lower = value_at(series, lower);
    } while (same_sign(at_upper, at_lower));

    float d = upper - lower;
    for (int round = 0; round < BISECTIONS; round++) {
        d *= 0.5f;
        const float middle = lower + d, at_middle = value_at(series, middle);
        if (same_sign(at_middle, at_lower)) /* while the value at the lower end keeps its sign */
            lower = middle;
        else
            upper = middle;
    }
    *root = {lower + d, lower - d};
    const float F0 = cheb_eval(lower, series.c, series.terms), F1 = cheb_eval(upper, series.c, series.terms);
    if (F1 != F0)
        root->at = rounded(wide(lower) + wide(d) * wide(F0) / (wide(F0) - wide(F1)));
    return true;
}

#ifdef TALV_SIMD_PLAIN

bool step_to_root(const Series &, const NearRoots &, int, int, float, Root *) noexcept
{
    return false;
}

#else

/* Entry k of row r: by how much of the step leaf k is raised in round r. Leaf 16, the upper end, is raised at once. */
constexpr int DIGITS_ROW = LEAVES + LANES;
constexpr Table<float, BISECTIONS * DIGITS_ROW> make_digits() noexcept
{
    Table<float, BISECTIONS * DIGITS_ROW> table{};
    for (int r = 0, bit = LEAVES / 2; r < BISECTIONS; r++, bit /= 2)
        for (int k = 0; k < LEAVES; k++)
            table.entry[r * DIGITS_ROW + k] = (k & bit) != 0 ? static_cast<float>(bit) / LEAVES : 0.0f;
    table.entry[LEAVES] = 1.0f;
    return table;
}

constexpr Table<float, BISECTIONS *DIGITS_ROW> digits = make_digits();

/* The first points of the walk, which always starts from 1 */
constexpr int FIRST_POINTS = 24;
constexpr Table<float, FIRST_POINTS> make_first_points() noexcept
{
    Table<float, FIRST_POINTS> table{};
    wide_t x = wide(1);
    for (float &point : table.entry) {
        point = rounded(x);
        x = wide(rounded(x - (x * x * wide(STEP_BEND) + wide(STEP_BASE))));
    }
    return table;
}

constexpr Table<float, FIRST_POINTS> first_points = make_first_points();

/** cheb_eval(), doubled, of the codec's order at the first two of four points, by a quick chain (dsp/simd_chain.h)
 *  found  IO   differences from what is defined are added
 *  The highest coefficient is 2, so that the second step adds two floats, which rounds once as well as twice: where
 *  their sum has more places than a double the smaller one is far below half a place of a float.                     */
TALV_INLINE Pair64 eval_two_doubled(const Series &series, Float4 x, Wide4 *found) noexcept
{
    const float c4 = series.c[TERMS_CODEC - 2], four = 2.0f * series.c[TERMS_CODEC - 1];
    const Pair64 minus_two_x = low_half(widened(-x - x));
    Pair64 b[TERMS_CODEC];
    b[TERMS_CODEC - 1] = twice(series.w[TERMS_CODEC - 1]);
    b[TERMS_CODEC - 2] = low_half(widened(Float4{c4, c4, c4, c4} + x * four));
    TALV_UNROLL
    for (int i = TERMS_CODEC - 3; i >= 0; i--)
        b[i] = nearly_rounded(subtract_nearly(twice(series.w[i]) - b[i + 2], minus_two_x, b[i + 1]));
    static_assert(TERMS_CODEC % 2 == 0);
    TALV_UNROLL
    for (int i = 0; i < TERMS_CODEC - 2; i += 2) {
        const Wide4 before = halves(b[i + 1], b[i + 2]), last = halves(b[i + 2], b[i + 3]);
        const Wide4 c = halves(twice(series.w[i]), twice(series.w[i + 1]));
        const Wide4 defined = rounded_wide(c - add_exact(last, halves(minus_two_x, minus_two_x), before));
        *found = gather_difference(*found, halves(b[i], b[i + 1]), defined);
    }
    return rounded_wide(twice(series.w[0]) - b[2] + b[0]);
}

constexpr int STEPS_MAX = 60; /* between two roots a radian apart */

/** Points of the walk, floats in value */
struct WalkPoints {
    wide_t x[STEPS_MAX + 1 + LANES]; /* and what fills up the last group of four */
};

/** Walk down by steps f(x) = x - (bend x^2 + base) until one is taken from last_step or below, or STEPS_MAX are
 *  A chain of z, which is not rounded, runs ahead. Around its points the steps are straight, f(x) = f(z) + (1 - 2 bend z)
 *  (x - z) but for bend (x - z)^2, which is far below the last place of a double: so each point waits for the one before
 *  it no longer than one fused operation and nearly_rounded() take.
 *  points  O
 *  last    O  z at the point before the last one
 *  return     the steps taken                                                                                       */
TALV_INLINE int walk_down(float from, float last_step, WalkPoints *points, wide_t *last) noexcept
{
    const Pair64 base = twice(wide(STEP_BASE)), bend = twice(wide(STEP_BEND)), minus_one = twice(wide(-1));
    const Pair64 minus_bend = -bend, minus_two_bend = minus_bend + minus_bend;
    const wide_t stop = wide(last_step);
    Pair64 z = twice(wide(from)), x = z;
    wide_t *point = points->x, z_now;
    *point = x[0];
    do {
        z_now = z[0];
        const Pair64 square = z * z, bent = subtract_nearly(-base, square, minus_bend);
        x = nearly_rounded(subtract_nearly(bent, subtract_nearly(minus_one, z, minus_two_bend), x));
        *++point = x[0];
        z = subtract_nearly(z - base, square, bend);
    } while (z_now > stop && point != points->x + STEPS_MAX);
    store(point + 1, Wide4{});
    *last = z_now;
    return static_cast<int>(point - points->x);
}

/** Whether each of the points is the one that the definition comes to from the one before */
TALV_INLINE bool is_walk(const WalkPoints &points, int steps) noexcept
{
    const Wide4 base = broadcast(wide(STEP_BASE)), bend = broadcast(wide(STEP_BEND));
    uint64_t equal = 0;
    TALV_NO_UNROLL
    for (int i = (steps - 1) / LANES * LANES; i >= 0; i -= LANES) {
        const Wide4 x = load(points.x + i), defined = rounded_wide(x - (x * x * bend + base));
        equal = equal << LANES | static_cast<uint64_t>(equal_lanes(defined, load(points.x + i + 1)));
    }
    const uint64_t all = (uint64_t{1} << steps) - 1;
    return (equal & all) == all;
}

/** The same root as walk_to_root() comes to, by what is known of it
 *  s, j    I   series, and the number of its roots above this one
 *  return      whether it is proved to be the same: it nearly always is
 *  All points of the walk are made, by a quick chain (dsp/simd_chain.h), but the series is only evaluated at the ends of
 *  the leaf that the bisection comes to, and has opposite signs there. No other point that the walk or the bisection
 *  looks at lies in the root's stretch: a leaf further the stretch has ended, by what is left of a leaf over 15/16 of
 *  one, which is many times a rounding. And none lies in that of another root: `from` is below the one before, the
 *  step's lower end is above the next one.                                                                           */
TALV_INLINE bool step_to_root(const Series &series, const NearRoots &near, int s, int j, float from,
                              Root *root) noexcept
{
    if (!(from > near.high[s][j] && from < near.low_before[s][j]))
        return false;

    const float last_step = near.last_step[s][j];
    if (from == first_points[0])
        for (int i = 1; from > last_step && i < FIRST_POINTS; i++)
            from = first_points[i];
    WalkPoints points;
    wide_t before_step;
    const int steps = walk_down(from, last_step, &points, &before_step);

    /* The leaf that the root is in: one over the step's length by a step of Newton's from what it nearly is */
    const wide_t leaves = wide(near.leaves[s][j]);
    const wide_t step = add_exact(wide(STEP_BASE), before_step * before_step, wide(STEP_BEND));
    const wide_t down = (before_step - wide(near.at[s][j])) * leaves * (wide(2) - step * leaves * wide(1.0 / LEAVES));
    const int k = static_cast<int>(wide(LEAVES) - down);
    if (k < 0 || k >= LEAVES)
        return false;
    const float above = rounded(points.x[steps - 1]), below = rounded(points.x[steps]), width = above - below;
    Float4 leaf = Float4{below, below, below, below};
    TALV_UNROLL
    for (int r = 0; r < BISECTIONS; r++)
        leaf += load4(digits + (r * DIGITS_ROW + k)) * width;

    const float d = width / LEAVES, nearly_a_leaf = d * (15.0f / 16.0f);
    Wide4 differences = broadcast(wide(0));
    const Pair64 F = eval_two_doubled(series, leaf, &differences); /* the factor leaves the quotient as it is */
    *root = {rounded(wide(leaf[0]) + wide(d) * F[0] / (F[0] - F[1])), leaf[0] - d};

    const wide_t lower = j % 2 == 0 ? F[0] : F[1], upper = j % 2 == 0 ? F[1] : F[0];
    constexpr wide_t NORMAL = wide(0x1p-100); /* so that half of it is a normal float */
    return is_walk(points, steps) && !any_bit(differences) && lower < -NORMAL && upper > NORMAL &&
           leaf[0] - nearly_a_leaf <= near.low_before[s][j + 1] && leaf[1] + nearly_a_leaf >= near.high[s][j] &&
           below > near.high[s][j + 1] && (k < LEAVES - 1 || leaf[1] == above);
}

#endif

/** acos_wide() on four values
 *  series(square)   arc-sine of z over z, |z| <= 1/2: a sum of asine[n] square^n                                     */
template <typename Sum>
TALV_INLINE Wide4 acos_with(Wide4 x, Sum series) noexcept
{
    const Wide4 zero = broadcast(wide(0)), one = broadcast(wide(1)), half = broadcast(wide(0.5));
    const Wide4 size = zero - larger(zero - magnitude(x), zero - one);
    const Wide4 outer = size - half; /* above 0 where the half-angle form holds */
    const Wide4 z = choose(outer, square_root((one - size) * half), x);
    const Wide4 asine = z * series(z * z), twice_asine = asine + asine;
    return choose(outer, choose(x, twice_asine, broadcast(wide(PI)) - twice_asine), broadcast(wide(PI * 0.5)) - asine);
}

/** The nearest floats to acos_wide() of four floats, in their place
 *  They hardly ever hang on how the series is added up, nor on its terms beyond the sixteenth, which are below 1e-12
 *  together and twice as much in the half-angle form. So even and odd powers are first added up beside each other.   */
void acos_of_4(float *x) noexcept
{
    constexpr int TERMS = TrigLimits<wide_t>::ASIN_TERMS, FEWER = std::min(TERMS, 16);
    const auto &asine = trig_series<wide_t>.asine;
    const Wide4 points = load_wide(x);
    if constexpr (!CHAIN_AS_DEFINED) {
        const Wide4 quick = acos_with(points, [&](Wide4 square) {
            const Wide4 fourth = square * square;
            Wide4 even = broadcast(asine[FEWER - 2]), odd = broadcast(asine[FEWER - 1]);
            TALV_NO_UNROLL
            for (int n = FEWER - 4; n >= 0; n -= 2) {
                even = multiply_add_nearly(even, fourth, broadcast(asine[n]));
                odd = multiply_add_nearly(odd, fourth, broadcast(asine[n + 1]));
            }
            return multiply_add_nearly(odd, square, even);
        });
        const Wide4 error = broadcast(wide(4e-12));
        const Float4 nearest = narrowed(quick - error);
        if (equal_lanes(nearest, narrowed(quick + error)) == ALL_LANES) [[likely]] {
            store4(x, nearest);
            return;
        }
    }
    store_rounded(x, acos_with(points, [&](Wide4 square) {
                      Wide4 sum = broadcast(asine[TERMS - 1]);
                      TALV_NO_UNROLL
                      for (int n = TERMS - 2; n >= 0; n--)
                          sum = sum * square + broadcast(asine[n]);
                      return sum;
                  }));
}

} // namespace

int lpc_to_lsf(float *lsf, const float *a, int order) noexcept
{
    if (order > ORDER_MAX)
        return -1;

    Series series[2]; /* sum polynomial, difference polynomial */
    polynomial_pair(a, order, series[0].c, series[1].c);
    for (Series &s : series) {
        s.terms = order / 2 + 1;
        widen(s.c, s.terms, s.w);
    }

    NearRoots near;
    const bool is_near = order == LPC_ORDER && find_near_roots(series, &near);
    float roots[ORDER_ROOM] = {};
    int count = 0;
    float root_before = 2.0f;
    float from = 1.0f;
    while (count < order && from > -1.0f) {
        const int s = count % 2; /* the roots of the two polynomials alternate */
        Root root;
        if (!(is_near && step_to_root(series[s], near, s, count / 2, from, &root)) &&
            !walk_to_root(series[s], from, &root))
            break;
        from = root.at >= root_before ? root.below : root.at; /* below the root before, wherever rounding took it */
        root_before = from;
        roots[count++] = root.at;
        if (count % LANES == 0) /* beside the steps to the next root, which wait for one another */
            acos_of_4(roots + count - LANES);
    }

    if (count % LANES != 0)
        acos_of_4(roots + count / LANES * LANES);
    if (count == LPC_ORDER) /* a known number is copied through registers, any other by slow string instructions */
        std::copy_n(roots, LPC_ORDER, lsf);
    else
        std::copy_n(roots, count, lsf);
    return count == order ? 1 : -2;
}

} // namespace talv::inline TALV_TARGET
