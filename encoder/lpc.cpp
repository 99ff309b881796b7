#include "encoder/lpc.h"

#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/lsf.h"
#include "dsp/simd_chain.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int ORDER_ROOM = (ORDER_MAX + LANES - 1) / LANES * LANES;
constexpr int TERMS_MAX = ORDER_MAX / 2 + 1; /* coefficients of a deflated sum or difference polynomial */

/* White noise 50 dB below the signal, added to lag 0, keeps the recursion well-conditioned; the floor stands in for it
 * when there is no signal. */
constexpr float ENERGY_FLOOR = 1e-6f;
constexpr wide_t WHITE_NOISE = wide(1.00001);

constexpr Table<float, ANALYSIS_MAX> make_window() noexcept
{
    Table<float, ANALYSIS_MAX> table{};
    for (int i = 0; i < FRAME_LEN; i++)
        table.entry[i] = rounded(sin_wide(PI * i / FRAME_LEN));
    return table;
}

} // namespace

constexpr Table<float, ANALYSIS_MAX> analysis_window = make_window();

int getlsf2(const float *signal, int n, int order, float *lsf) noexcept
{
    if (n > ANALYSIS_MAX)
        return -1;
    if (order > ORDER_MAX)
        return -2;

    float work[ANALYSIS_MAX];
    float r[ORDER_MAX + 1];
    float a[ORDER_MAX];
    window_autocorr(signal, n, r, order, work, analysis_window);
    if (r[0] < ENERGY_FLOOR)
        r[0] = ENERGY_FLOOR;
    r[0] = rounded(wide(r[0]) * WHITE_NOISE);
    if (levinson(r, order, a) < 0.0f)
        return -3;
    if (lpc_to_lsf(lsf, a, order) < 0)
        return -4;
    if (lsf_stabilize(lsf, order, LSF_SPACING_ANALYSIS) < 0)
        return -5;
    return 0;
}

namespace
{

/** Autocorrelation of x[0..n) for groups * LANES lags from 0 up, each running sum rounded to float at every term
 *  quick   whether to round nearly
 *  x    I  [n + groups LANES]   floats in value, zeros from n on: they leave the shorter sums as they are
 *  sum  O  [groups LANES]
 *  return  whether the sums are the rounded ones, if the samples are moderate                                        */
template <int groups, bool quick>
bool autocorr_groups(const wide_t *x, int n, float *sum) noexcept
{
    Wide4 r[groups];
    Ties ties;
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        r[g] = broadcast(wide(0));
    for (int i = 0; i < n; i++)
        TALV_UNROLL
    for (int g = 0; g < groups; g++) {
        const Wide4 next = add_exact(r[g], broadcast(x[i]), load(x + i + LANES * g));
        r[g] = quick ? nearly_rounded(next, &ties) : rounded_wide(next);
    }
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        store_rounded(sum + LANES * g, r[g]);
    return !any(ties);
}

} // namespace

void window_autocorr(const float *x, int n, float *r, int order, float *work, const float *window) noexcept
{
    constexpr int GROUPS_CODEC = LPC_ORDER / LANES + 1; /* enough for the codec's order  */
    constexpr int GROUPS_MAX = ORDER_MAX / LANES + 1;   /* and for the largest           */
    for (int i = 0; i < n; i++)
        work[i] = window[i] * x[i];
    wide_t padded[ANALYSIS_MAX + GROUPS_MAX * LANES];
    widen(work, n, padded);
    std::fill_n(padded + n, GROUPS_MAX * LANES, wide_t{0});

    float sum[GROUPS_MAX * LANES];
    const bool few = order < GROUPS_CODEC * LANES;
    if (!few || !autocorr_groups<GROUPS_CODEC, true>(padded, n, sum) || !all_moderate(work, n))
        autocorr_groups<GROUPS_MAX, false>(padded, n, sum);
    std::copy_n(sum, order + 1, r);
}

float levinson(const float *r, int order, float *a) noexcept
{
    for (int i = 0; i < order; i++)
        a[i] = 0.0f;

    float reversed[ORDER_MAX];
    float E = r[0];
    for (int i = 0; i < order; i++) {
        float t = r[i + 1];
        for (int j = 0; j < i; j++)
            t = rounded(wide(t) + wide(r[i - j]) * wide(a[j]));
        const float k = -t / E;
        E = rounded((1 - wide(k) * wide(k)) * wide(E));
        if (E <= 0.0f)
            return E;
        for (int j = 0; j < i; j++)
            reversed[j] = a[i - 1 - j];
        for (int j = 0; j < i; j++)
            a[j] = rounded(wide(a[j]) + wide(k) * wide(reversed[j]));
        a[i] = k;
    }
    return E;
}

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

/** cheb_eval at groups * LANES points
 *  x  I  [groups]   floats in value
 *  c  I  [terms]    likewise
 *  F  O  [groups]                                                                                                    */
template <int groups>
void cheb_eval_at(const Wide4 *x, const wide_t *c, int terms, Wide4 *F) noexcept
{
    Wide4 two_x[groups], b1[groups], b2[groups], last_b2[groups];
    TALV_UNROLL
    for (int g = 0; g < groups; g++) {
        two_x[g] = x[g] + x[g];
        b1[g] = b2[g] = last_b2[g] = broadcast(wide(0));
    }
    for (int i = terms - 1; i >= 0; i--) {
        const Wide4 c4 = broadcast(c[i]);
        TALV_UNROLL
        for (int g = 0; g < groups; g++) {
            const Wide4 b = rounded_wide(exact_minus(two_x[g], b1[g], b2[g]) + c4);
            last_b2[g] = b2[g];
            b2[g] = b1[g];
            b1[g] = b;
        }
    }
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        F[g] = rounded_wide((broadcast(c[0]) - last_b2[g] + b1[g]) * broadcast(wide(0.5)));
}

/** One side of a bracket: a point, and the series there */
struct Point {
    float x, F;
};

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

/** Bit i tells whether lane i of eight is above 0 */
TALV_INLINE int positive_of_8(const Wide4 *v) noexcept
{
    return positive_lanes(v[0]) | positive_lanes(v[1]) << LANES;
}

/** Walk down from a point to the first step across which the series changes sign; a product of 0 counts as a change
 *  from   I   the point to start from
 *  above  O   the upper side of the bracket
 *  below  O   its lower side
 *  return     whether there is one: without, the walk has ended at -1                                                */
bool walk_to_bracket(const wide_t *c, int terms, float from, Point *above, Point *below) noexcept
{
    const Wide4 end = broadcast(wide(-1)), zero = broadcast(wide(0));
    for (wide_t start = wide(from);;) {
        Wide4 x[2], F[2];
        walk_down(start, &x[0], &x[1]);
        x[0] = larger(x[0], end);
        x[1] = larger(x[1], end);
        cheb_eval_at<2>(x, c, terms, F);

        /* Bit i tells whether the walk goes on from point i + 1. The last point of all has no next one here: it is the
         * first of the next round. */
        const Wide4 minus_F[2] = {zero - F[0], zero - F[1]}, inside[2] = {x[0] - end, x[1] - end};
        const int positive = positive_of_8(F), negative = positive_of_8(minus_F);
        const int same_sign = (positive & positive >> 1) | (negative & negative >> 1);
        const int goes_on = same_sign & positive_of_8(inside) >> 1;
        if (goes_on == (1 << (WALK - 1)) - 1) {
            start = lane(x[1], LANES - 1);
            continue;
        }
        const int i = __builtin_ctz(~static_cast<unsigned>(goes_on));
        float points[WALK], values[WALK];
        for (int g = 0; g < 2; g++) {
            store_rounded(points + LANES * g, x[g]);
            store_rounded(values + LANES * g, F[g]);
        }
        *above = {points[i], values[i]};
        *below = {points[i + 1], values[i + 1]};
        return (same_sign >> i & 1) == 0;
    }
}

/** The root in a bracket: bisection, then a secant
 *  below  IO   lower side, narrowed
 *  d      O    width of the narrowed bracket
 *  All points that the bisection may come to are worked out at once: leaf k, in sixteenths of the bracket, is the one
 *  with the lowest bit of k cleared, raised by that bit's share, as the rounds would do it one after another. They are
 *  kept in the order in which they come about: leaf k stands in place LANES (k mod LANES) + k / LANES.               */
float refine_root(const wide_t *c, int terms, Point above, Point *below, float *d) noexcept
{
    static_assert(LEAVES == LANES * LANES);
    const float width = above.x - below->x;
    const float half = below->x + width * 0.5f;
    const Float4 fours = {below->x, below->x + width * 0.25f, half, half + width * 0.25f};
    const Float4 twos = fours + width * 0.125f;
    const Wide4 leaf[LANES] = {widened(fours), widened(fours + width * 0.0625f), widened(twos),
                               widened(twos + width * 0.0625f)};
    Wide4 F_leaf[LANES];
    cheb_eval_at<LANES>(leaf, c, terms, F_leaf);

    /* While F at the lower end keeps its sign, so do the products. */
    float x[LEAVES], F[LEAVES];
    int same_sign = 0;
    TALV_UNROLL
    for (int g = 0; g < LANES; g++) {
        store_rounded(x + LANES * g, leaf[g]);
        store_rounded(F + LANES * g, F_leaf[g]);
        same_sign |= positive_lanes(F_leaf[g] * broadcast(wide(below->F))) << (LANES * g);
    }
    const auto place = [](int k) { return LANES * (k % LANES) + k / LANES; };
    int k = 0, end = LEAVES;
    for (int bit = LEAVES / 2; bit >= 1; bit /= 2) {
        const bool moves = (same_sign >> place(k + bit) & 1) != 0;
        end = moves ? end : k + bit;
        k = moves ? k + bit : k;
    }
    const float F_above = end == LEAVES ? above.F : F[place(end)];
    *below = {x[place(k)], F[place(k)]};
    *d = width / LEAVES;
    if (F_above == below->F)
        return below->x + *d;
    return rounded(wide(below->x) + wide(*d) * wide(below->F) / (wide(below->F) - wide(F_above)));
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

    const int terms = order / 2 + 1;
    float series[2][TERMS_MAX]; /* sum polynomial, difference polynomial */
    polynomial_pair(a, order, series[0], series[1]);

    wide_t c[2][TERMS_MAX];
    for (int s = 0; s < 2; s++)
        widen(series[s], terms, c[s]);

    float roots[ORDER_ROOM] = {};
    int count = 0;
    float root_before = 2.0f;
    float from = 1.0f;
    while (count < order && from > -1.0f) {
        const wide_t *now = c[count % 2]; /* the roots of the two polynomials alternate */
        Point above, below;
        if (!walk_to_bracket(now, terms, from, &above, &below))
            break;
        float d;
        float root = refine_root(now, terms, above, &below, &d);
        roots[count++] = root;
        if (root >= root_before) /* rounding took it back over the root before: go on from below it */
            root = below.x - d;
        root_before = root;
        from = root;
    }

    for (int k = 0; k < count; k += LANES)
        store_rounded(roots + k, acos_of_4(load_wide(roots + k)));
    std::copy_n(roots, count, lsf);
    return count == order ? 1 : -2;
}

} // namespace talv::inline TALV_TARGET
