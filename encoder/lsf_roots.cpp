#include "encoder/lsf_roots.h"

#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/simd_chain.h"
#include "dsp/simd_estimate.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

#include <algorithm>
#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{
constexpr int ORDER_ROOM = (ORDER_MAX + LANES - 1) / LANES * LANES;
constexpr int TERMS_MAX = ORDER_MAX / 2 + 1;   /* coefficients of a deflated sum or difference polynomial */
constexpr int TERMS_CODEC = LPC_ORDER / 2 + 1; /* the same for the codec's order                          */
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

/* The walk along x = cos(w) goes down by x x STEP_BEND + STEP_BASE: 0.0314 at x = 0 and 0.00197 at the ends, which are
 * steps of 0.015 to 0.06 radian in w. */
constexpr double STEP_DELTA = 0.03141592654;
constexpr float STEP_BASE = rounded(sin_wide(STEP_DELTA));
constexpr float STEP_BEND = rounded(4.0 - 4.0 * cos_wide(STEP_DELTA) - static_cast<double>(STEP_BASE));
constexpr int BISECTIONS = 4;

/** Chebyshev series of the sum and difference polynomials, without their roots at z = -1 and z = +1
 *  cp, cq  O  [order/2 + 1]                                                                           */
void polynomial_pair(const float *a, int order, float *cp, float *cq) noexcept
{
    const int h = order / 2;
    float p[TERMS_MAX] = {1.0f};
    float q[TERMS_MAX] = {1.0f};
    for (int i = 1; i <= h; i++) {
        // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): levinson() has written all of a
        p[i] = a[i - 1] + a[order - i];
        q[i] = a[i - 1] - a[order - i];
    }
    for (int i = 1; i <= h; i++) {
        p[i] -= p[i - 1];
        q[i] += q[i - 1];
    }
    cp[0] = p[h];
    cq[0] = q[h];
    for (int j = 1; j <= h; j++) {
        cp[j] = 2.0f * p[h - j];
        cq[j] = 2.0f * q[h - j];
    }
}

/** A polynomial as the walk needs it */
struct Series {
    float c[TERMS_MAX];  /* Chebyshev coefficients                                            */
    wide_t w[TERMS_MAX]; /* the same, widened                                                 */
    float doubt;         /* cheb_eval() is sure to have the sign of an estimate beyond this   */
    int terms;
};

/* In step k cheb_eval() rounds b[k] to float, which is as if coefficient k differed by 2^-24 |b[k]|; and |T_k| <= 1,
 * |b[k]| <= sum over j >= k of (j - k + 1) |c[j]|, since |U_j| <= j + 1. Summed over k that is 2^-24 times the sum of
 * (j + 1) (j + 2) / 2 |c[j]|, and the last rounding adds one |c[j]| more at most. An estimate in floats rounds three
 * times in each step, c[k] - b[k+2], the product and b[k], none of them larger than twice that bound. The hundredth is
 * for what is of second order, and for the roundings in double. */
void widen_series(Series *series) noexcept
{
    wide_t sum = wide(0);
    for (int j = 0; j < series->terms; j++) {
        series->w[j] = wide(series->c[j]);
        sum += wide((j + 1) * (j + 2) / 2 + 1) * std::fabs(series->w[j]);
    }
    series->doubt = rounded(sum * wide((1 + 2 * 3) * 1.01 * 0x1p-24));
}

/** Estimates of the series of the codec's order at count * FLOATS points
 *  x  I  [count]
 *  F  O  [count]                                                                                                     */
template <int count>
TALV_INLINE void estimate_series(const Series &series, const Floats *x, Floats *F) noexcept
{
    Floats two_x[count], b1[count], b2[count];
    TALV_UNROLL
    for (int g = 0; g < count; g++) {
        two_x[g] = x[g] + x[g];
        b1[g] = floats(series.c[TERMS_CODEC - 1]);
        b2[g] = floats(0.0f);
    }
    TALV_UNROLL
    for (int i = TERMS_CODEC - 2; i >= 1; i--) {
        const Floats c = floats(series.c[i]);
        TALV_UNROLL
        for (int g = 0; g < count; g++) {
            const Floats b = add_product(c - b2[g], two_x[g], b1[g]);
            b2[g] = b1[g];
            b1[g] = b;
        }
    }
    TALV_UNROLL
    for (int g = 0; g < count; g++)
        F[g] = add_product(floats(series.c[0]) - b2[g], x[g], b1[g]);
}

/** cheb_eval() at n points, a multiple of LANES: where it is above 0, and where it is below, a bit a point */
[[gnu::noinline]] void exact_signs(const Series &series, const float *x, int n, int *positive, int *negative) noexcept
{
    *positive = *negative = 0;
    for (int at = 0; at < n; at += LANES) {
        const Wide4 two_x = load_wide(x + at) + load_wide(x + at);
        Wide4 b1 = broadcast(wide(0)), b2 = b1, last_b2 = b1;
        for (int i = series.terms - 1; i >= 0; i--) {
            const Wide4 b = rounded_wide(exact_minus(two_x, b1, b2) + broadcast(series.w[i]));
            last_b2 = b2;
            b2 = b1;
            b1 = b;
        }
        const Wide4 F = rounded_wide((broadcast(series.w[0]) - last_b2 + b1) * broadcast(wide(0.5)));
        *positive |= lanes_above(F, broadcast(wide(0))) << at;
        *negative |= lanes_above(broadcast(wide(0)), F) << at;
    }
}

/** Where cheb_eval() is above 0, and where it is below, a bit a point. It is worked out itself only if it has to be:
 *  nearly always an estimate is far enough from 0.
 *  x       I  [count]            the points
 *  points  I  [count * FLOATS]   the same                                                                            */
template <int count>
TALV_INLINE void cheb_signs(const Series &series, const Floats *x, const float *points, int *positive,
                            int *negative) noexcept
{
    constexpr bool WIDER = sizeof(wide_t) > sizeof(float);
    if (WIDER && series.terms == TERMS_CODEC) {
        Floats F[count];
        estimate_series<count>(series, x, F);
        unsigned above = 0, below = 0;
        TALV_UNROLL
        for (int g = 0; g < count; g++) {
            above |= not_below(F[g], floats(series.doubt)) << (FLOATS * g);
            below |= not_below(floats(-series.doubt), F[g]) << (FLOATS * g);
        }
        *positive = static_cast<int>(above);
        *negative = static_cast<int>(below);
        if ((*positive | *negative) == (1 << (count * FLOATS)) - 1)
            return;
    }
    exact_signs(series, points, count * FLOATS, positive, negative);
}

/** cheb_eval() of the codec's order at two points, by a quick chain; returns whether it holds (dsp/simd_chain.h) */
bool cheb_eval_two_quickly(const Series &series, Pair64 x, float *F) noexcept
{
    const Pair64 minus_two_x = twice(wide(0)) - x - x;
    Pair64 b[TERMS_CODEC + 2];
    b[TERMS_CODEC + 1] = b[TERMS_CODEC] = twice(wide(0));
    b[TERMS_CODEC - 1] = twice(series.w[TERMS_CODEC - 1]);
    /* The first step adds two floats of much the same size, a multiple of x and a coefficient: where that carries, it is
     * a tie half of the time. */
    b[TERMS_CODEC - 2] =
        rounded_wide(subtract_nearly(twice(series.w[TERMS_CODEC - 2]), minus_two_x, b[TERMS_CODEC - 1]));
    TALV_UNROLL
    for (int i = TERMS_CODEC - 3; i >= 0; i--)
        b[i] = nearly_rounded(subtract_nearly(twice(series.w[i]) - b[i + 2], minus_two_x, b[i + 1]));

    bool holds = true;
    const Wide4 two_x = halves(x, x) + halves(x, x);
    TALV_UNROLL
    for (int i = 0; i < TERMS_CODEC; i += 2) {
        const Wide4 before = halves(b[i + 1], b[i + 2]);
        const Wide4 last = i + 3 < TERMS_CODEC ? halves(b[i + 2], b[i + 3]) : halves(b[i + 2], b[TERMS_CODEC]);
        const Wide4 c = halves(twice(series.w[i]), twice(series.w[i + 1]));
        holds = equal_lanes(halves(b[i], b[i + 1]), rounded_wide(exact_minus(two_x, before, last) + c)) == ALL_LANES &&
                holds;
    }
    for (int j = 0; j < 2; j++)
        F[j] = rounded((series.w[0] - b[2][j] + b[0][j]) * wide(0.5));
    return holds;
}

void cheb_eval_two(const Series &series, float x0, float x1, float *F) noexcept
{
    const Pair64 x = low_lanes(twice(wide(x0)), twice(wide(x1)));
    if (!CHAIN_AS_DEFINED && series.terms == TERMS_CODEC && cheb_eval_two_quickly(series, x, F))
        return;
    F[0] = cheb_eval(x0, series.c, series.terms);
    F[1] = cheb_eval(x1, series.c, series.terms);
}

constexpr int WALK = 2 * LANES;         /* points of the walk that are looked at together        */
constexpr int LEAVES = 1 << BISECTIONS; /* points that the bisection can choose between          */

/** The walk's next point, from the vector of points that are known */
TALV_INLINE Wide4 step_down(Wide4 x) noexcept
{
    return rounded_wide(x - (x * x * broadcast(wide(STEP_BEND)) + broadcast(wide(STEP_BASE))));
}

/** The points of the walk from x[0] on, by a quick chain if that holds (dsp/simd_chain.h)
 *  from       I   the first point
 *  near, far  O   points 0 to 3 and 4 to 7                                                                          */
void walk_down(wide_t from, Wide4 *near, Wide4 *far) noexcept
{
    const Pair64 base = twice(wide(STEP_BASE)), bend = twice(wide(STEP_BEND));
    Pair64 x[WALK + 1];
    x[0] = twice(from);
    TALV_UNROLL
    for (int i = 1; i <= WALK; i++)
        x[i] = nearly_rounded(subtract_nearly(x[i - 1] - base, x[i - 1] * x[i - 1], bend));
    *near = halves(low_lanes(x[0], x[1]), low_lanes(x[2], x[3]));
    *far = halves(low_lanes(x[4], x[5]), low_lanes(x[6], x[7]));
    const Wide4 after_near = halves(low_lanes(x[1], x[2]), low_lanes(x[3], x[4]));
    const Wide4 after_far = halves(low_lanes(x[5], x[6]), low_lanes(x[7], x[8]));
    if (!CHAIN_AS_DEFINED &&
        (equal_lanes(step_down(*near), after_near) & equal_lanes(step_down(*far), after_far)) == ALL_LANES)
        return;

    wide_t plain[WALK] = {from};
    for (int i = 1; i < WALK; i++)
        plain[i] = wide(rounded(plain[i - 1] - (plain[i - 1] * plain[i - 1] * wide(STEP_BEND) + wide(STEP_BASE))));
    *near = load(plain);
    *far = load(plain + LANES);
}

/** Walk down from a point to the first step across which the series changes sign; a value of 0 counts as a change
 *  from          I   the point to start from
 *  above, below  O   the step's two ends
 *  return            whether there is one: without, the walk has ended at -1                                        */
bool walk_to_bracket(const Series &series, float from, float *above, float *below) noexcept
{
    const Floats end = floats(-1.0f);
    for (wide_t start = wide(from);;) {
        Wide4 near, far;
        walk_down(start, &near, &far);
        Floats x[WALK / FLOATS];
        const Float4 both[] = {narrowed(near), narrowed(far)};
        join(both, x);
        float points[WALK];
        unsigned at_end = 0;
        TALV_UNROLL
        for (int g = 0; g < WALK / FLOATS; g++) {
            x[g] = larger(x[g], end);
            store(points + FLOATS * g, x[g]);
            at_end |= not_below(end, x[g]) << (FLOATS * g);
        }

        /* Bit i tells whether the walk goes on from point i + 1. The last point of all has no next one here: it is the
         * first of the next round. */
        int positive, negative;
        cheb_signs<WALK / FLOATS>(series, x, points, &positive, &negative);
        const int same_sign = (positive & positive >> 1) | (negative & negative >> 1);
        const int goes_on = same_sign & ~static_cast<int>(at_end >> 1) & ((1 << (WALK - 1)) - 1);
        if (goes_on == (1 << (WALK - 1)) - 1) {
            start = lane(far, LANES - 1);
            continue;
        }
        const int i = __builtin_ctz(~static_cast<unsigned>(goes_on));
        *above = points[i];
        *below = points[i + 1];
        return (same_sign >> i & 1) == 0;
    }
}

/** The leaf that the bisection comes to, and the upper end of what is left then, LEAVES being that of the bracket
 *  same_sign   bit k tells whether the series has the sign at leaf k that it has at leaf 0                           */
TALV_INLINE void bisect(int same_sign, int *leaf, int *end) noexcept
{
    *end = __builtin_ctz(~static_cast<unsigned>(same_sign) | 1u << LEAVES);
    *leaf = *end - 1;
    if ((same_sign & (same_sign + 1)) == 0) /* one change of sign in all: that is where every round leads */
        return;
    *leaf = 0;
    *end = LEAVES;
    for (int bit = LEAVES / 2; bit >= 1; bit /= 2) {
        if ((same_sign >> (*leaf + bit) & 1) != 0)
            *leaf += bit;
        else
            *end = *leaf + bit;
    }
}

/** The root in a bracket: bisection, then a secant
 *  below  IO   lower side, narrowed
 *  d      O    width of the narrowed bracket
 *  All points that the bisection may come to are worked out at once: leaf k, in sixteenths of the bracket, is the one
 *  with the lowest bit of k cleared, raised by that bit's share, as the rounds would do it one after another.        */
float refine_root(const Series &series, float above, float *below, float *d) noexcept
{
    static_assert(LEAVES == LANES * LANES);
    const float width = above - *below;
    const float half = *below + width * 0.5f;
    const float fours[LANES] = {*below, *below + width * 0.25f, half, half + width * 0.25f};
    const float two = width * 0.125f, one = width * 0.0625f;
    const Float4 twos = {0.0f, 0.0f, two, two}, ones = {0.0f, one, 0.0f, one};
    Float4 four[LANES];
    float x[LEAVES + 1];
    TALV_UNROLL
    for (int g = 0; g < LANES; g++) {
        four[g] = Float4{fours[g], fours[g], fours[g], fours[g]} + twos + ones;
        store4(x + LANES * g, four[g]);
    }
    x[LEAVES] = above;
    Floats leaf[LEAVES / FLOATS];
    join(four, leaf);

    /* While the value at the lower end keeps its sign, so do the products. */
    int positive, negative, k, end;
    cheb_signs<LEAVES / FLOATS>(series, leaf, x, &positive, &negative);
    bisect((positive & 1) != 0 ? positive : (negative & 1) != 0 ? negative : 0, &k, &end);
    if (k < 0) { /* a value of 0 at the bracket's lower side */
        k = 0;
        end = 1;
    }
    *below = x[k];
    *d = width / LEAVES;

    float F[2];
    cheb_eval_two(series, x[k], x[end], F);
    if (F[1] == F[0])
        return *below + *d;
    return rounded(wide(*below) + wide(*d) * wide(F[0]) / (wide(F[0]) - wide(F[1])));
}

/** acos_wide() on four values */
Wide4 acos_of_4(Wide4 x) noexcept
{
    constexpr int TERMS = TrigLimits<wide_t>::ASIN_TERMS;
    const Wide4 zero = broadcast(wide(0)), one = broadcast(wide(1)), half = broadcast(wide(0.5));
    const Wide4 size = zero - larger(zero - magnitude(x), zero - one);
    const Wide4 outer = size - half; /* above 0 where the half-angle form holds */
    const Wide4 z = choose(outer, square_root((one - size) * half), x);
    const Wide4 square = z * z;
    Wide4 sum = broadcast(trig_series<wide_t>.asine[TERMS - 1]);
    for (int n = TERMS - 2; n >= 0; n--)
        sum = sum * square + broadcast(trig_series<wide_t>.asine[n]);
    const Wide4 asine = z * sum, twice_asine = asine + asine;
    return choose(outer, choose(x, twice_asine, broadcast(wide(PI)) - twice_asine), broadcast(wide(PI * 0.5)) - asine);
}

} // namespace

int lpc_to_lsf(float *lsf, const float *a, int order) noexcept
{
    if (order > ORDER_MAX)
        return -1;

    Series series[2]; /* sum polynomial, difference polynomial */
    series[0].terms = series[1].terms = order / 2 + 1;
    polynomial_pair(a, order, series[0].c, series[1].c);
    widen_series(&series[0]);
    widen_series(&series[1]);

    float roots[ORDER_ROOM] = {};
    int count = 0;
    float root_before = 2.0f;
    float from = 1.0f;
    while (count < order && from > -1.0f) {
        const Series &now = series[count % 2]; /* the roots of the two polynomials alternate */
        float above, below, d;
        if (!walk_to_bracket(now, from, &above, &below))
            break;
        float root = refine_root(now, above, &below, &d);
        roots[count++] = root;
        if (root >= root_before) /* rounding took it back over the root before: go on from below it */
            root = below - d;
        root_before = root;
        from = root;
    }

    for (int k = 0; k < count; k += LANES)
        store_rounded(roots + k, acos_of_4(load_wide(roots + k)));
    if (count == LPC_ORDER) /* a known number is copied through registers, any other by slow string instructions */
        std::copy_n(roots, LPC_ORDER, lsf);
    else
        std::copy_n(roots, count, lsf);
    return count == order ? 1 : -2;
}

} // namespace talv::inline TALV_TARGET
