#include "encoder/lpc.h"

#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/lsf.h"
#include "dsp/simd.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

namespace
{

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
 *  x    I  [n + groups LANES]   floats in value, zeros from n on: they leave the shorter sums as they are
 *  sum  O  [groups LANES]                                                                                            */
template <int groups>
void autocorr_groups(const wide_t *x, int n, float *sum) noexcept
{
    Wide4 r[groups];
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        r[g] = broadcast(0.0);
    for (int i = 0; i < n; i++)
        TALV_UNROLL
    for (int g = 0; g < groups; g++)
        r[g] = rounded_wide(add_exact(r[g], broadcast(x[i]), load(x + i + LANES * g)));
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        store_rounded(sum + LANES * g, r[g]);
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
    if (order < GROUPS_CODEC * LANES)
        autocorr_groups<GROUPS_CODEC>(padded, n, sum);
    else
        autocorr_groups<GROUPS_MAX>(padded, n, sum);
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

/** cheb_eval at `count` points, four side by side
 *  x, F  I/O  [count]   count is a multiple of LANES; floats in value */
template <int count>
void cheb_eval_at(const wide_t *x, const float *c, int terms, wide_t *F) noexcept
{
    constexpr int GROUPS = count / LANES;
    Wide4 two_x[GROUPS], b1[GROUPS], b2[GROUPS], last_b2[GROUPS];
    TALV_UNROLL
    for (int g = 0; g < GROUPS; g++) {
        two_x[g] = load(x + LANES * g) + load(x + LANES * g);
        b1[g] = b2[g] = last_b2[g] = broadcast(0.0);
    }
    for (int i = terms - 1; i >= 0; i--) {
        const Wide4 c4 = broadcast(wide(c[i]));
        TALV_UNROLL
        for (int g = 0; g < GROUPS; g++) {
            const Wide4 b = rounded_wide(exact_minus(two_x[g], b1[g], b2[g]) + c4);
            last_b2[g] = b2[g];
            b2[g] = b1[g];
            b1[g] = b;
        }
    }
    TALV_UNROLL
    for (int g = 0; g < GROUPS; g++)
        store(F + LANES * g, rounded_wide((broadcast(wide(c[0])) - last_b2[g] + b1[g]) * broadcast(0.5)));
}

/** One side of a bracket: a point, and the series there */
struct Point {
    float x, F;
};

constexpr int WALK = 2 * LANES;         /* points of the walk that are looked at together        */
constexpr int LEAVES = 1 << BISECTIONS; /* points that the bisection can choose between          */

/** Walk down from a point to the first step across which the series changes sign; a product of 0 counts as a change
 *  above  IO   the point to start from; on return the upper side of the bracket
 *  below  O    its lower side
 *  return      whether there is one: without, the walk has ended at -1                                               */
bool walk_to_bracket(const float *c, int terms, Point *above, Point *below) noexcept
{
    for (;;) {
        wide_t x[1 + WALK], F[1 + WALK]; /* the point above, then the steps down from it */
        x[0] = wide(above->x);
        F[0] = wide(above->F);
        TALV_UNROLL
        for (int i = 1; i <= WALK; i++) {
            const wide_t next = x[i - 1] - (x[i - 1] * x[i - 1] * wide(STEP_BEND) + wide(STEP_BASE));
            x[i] = std::max(wide(rounded(next)), wide_t{-1});
        }
        cheb_eval_at<WALK>(x + 1, c, terms, F + 1);

        int i = 1;
        if (all_positive(load(F) * load(F + 1)) && all_positive(load(F + LANES) * load(F + LANES + 1)))
            i = WALK; /* the common case: nothing happens before the last step, if there */
        while (i < WALK && F[i] * F[i - 1] > 0 && x[i] > -1)
            i++;
        *above = {rounded(x[i - 1]), rounded(F[i - 1])};
        *below = {rounded(x[i]), rounded(F[i])};
        if (!(F[i] * F[i - 1] > 0))
            return true;
        if (!(x[i] > -1))
            return false;
        *above = *below;
    }
}

/** The root in a bracket: bisection, then a secant
 *  below  IO   lower side, narrowed
 *  d      O    width of the narrowed bracket
 *  All points that the bisection may come to are worked out at once: point k, in sixteenths of the bracket, is the one
 *  with the lowest bit of k cleared, raised by that bit's share, as the rounds would do it one after another.        */
float refine_root(const float *c, int terms, Point above, Point *below, float *d) noexcept
{
    const float width = above.x - below->x;
    wide_t x[LEAVES], F[LEAVES];
    x[0] = wide(below->x);
    TALV_UNROLL
    for (int k = 1; k < LEAVES; k++) {
        const int bit = k & -k;
        x[k] = wide(rounded(x[k - bit]) + width * (static_cast<float>(bit) / LEAVES));
    }
    cheb_eval_at<LEAVES>(x, c, terms, F);

    int k = 0;
    F[0] = wide(below->F);
    wide_t F_above = wide(above.F);
    for (int bit = LEAVES / 2; bit >= 1; bit /= 2) {
        if (F[k + bit] * F[k] > 0)
            k += bit;
        else
            F_above = F[k + bit];
    }
    *below = {rounded(x[k]), rounded(F[k])};
    *d = width / LEAVES;
    if (F_above == F[k])
        return below->x + *d;
    return rounded(x[k] + wide(*d) * F[k] / (F[k] - F_above));
}

} // namespace

int lpc_to_lsf(float *lsf, const float *a, int order) noexcept
{
    if (order > ORDER_MAX)
        return -1;

    const int terms = order / 2 + 1;
    float series[2][TERMS_MAX]; /* sum polynomial, difference polynomial */
    polynomial_pair(a, order, series[0], series[1]);

    int count = 0;
    const float *c = series[0];
    float root_before = 2.0f;
    Point above = {1.0f, cheb_eval(1.0f, c, terms)};
    while (count < order && above.x > -1.0f) {
        Point below;
        if (!walk_to_bracket(c, terms, &above, &below))
            break;
        float d;
        float root = refine_root(c, terms, above, &below, &d);
        lsf[count++] = rounded(acos_wide(wide(root)));
        if (root >= root_before) /* rounding took it back over the root before: go on from below it */
            root = below.x - d;
        root_before = root;

        c = series[count % 2]; /* the roots of the two polynomials alternate */
        above = {root, cheb_eval(root, c, terms)};
    }
    return count == order ? 1 : -2;
}

} // namespace talv::inline TALV_TARGET
