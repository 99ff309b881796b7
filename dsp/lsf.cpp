#include "dsp/lsf.h"

#include "dsp/constants.h"
#include "dsp/simd_float.h"
#include "dsp/table.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int LPC_CONVERT_MAX = 32; /* largest order of lsf_to_lpc */

/** Multiply a polynomial by 1 - 2 cos(w) z^-1 + z^-2, from the top, so that every step reads coefficients that this
 *  factor has not changed yet. On entry the polynomial has degree `degree` - 2, on return `degree`.                  */
[[gnu::cold]] void multiply_by_root_pair(float *poly, int degree, float w) noexcept
{
    const float c = rounded(2 * cos_wide(wide(w)));
    for (int i = degree; i >= 2; i--)
        poly[i] = rounded(wide(poly[i - 2]) - wide(c) * wide(poly[i - 1]) + wide(poly[i]));
    poly[1] -= c;
}

} // namespace

[[gnu::cold]] int lsf_to_lpc(int order, const float *lsf, float *lpc) noexcept
{
    if (order > LPC_CONVERT_MAX)
        return -1;

    float S[LPC_CONVERT_MAX + 1] = {1.0f};
    float D[LPC_CONVERT_MAX + 1] = {1.0f};
    for (int f = 1; f <= order / 2; f++) {
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): callers give all of lsf
        multiply_by_root_pair(S, 2 * f, lsf[2 * f - 2]);
        multiply_by_root_pair(D, 2 * f, lsf[2 * f - 1]);
    }

    for (int j = 1; j <= order; j++)
        lpc[j - 1] = S[j] + D[j];
    for (int j = 1; j < order; j++)
        lpc[j] = rounded((wide(S[j]) - wide(D[j])) + wide(lpc[j]));
    for (int j = 0; j < order; j++)
        lpc[j] *= 0.5f;
    return 0;
}

namespace
{

constexpr float WIDE_COS_TOP = 3.9f; /* end of the range of cos_pair_wide(); its other end is 0 */

/** What reduce_angle() gives, the quadrant as a whole number in double */
struct WideAngle {
    Wide4 quadrant, rest;
};

TALV_INLINE WideAngle reduce_angle(Wide4 x) noexcept
{
    const Wide4 turns = x * broadcast(wide(2.0 / PI));
    const Wide4 k = widened(truncated(turns + broadcast(0.5)));
    return {k, (x - k * broadcast(TrigLimits<wide_t>::HALF_PI_HIGH)) - k * broadcast(TrigLimits<wide_t>::HALF_PI_LOW)};
}

/** cos_wide() of two times four angles, the same operations on every lane, for angles within 0 .. 3.9 radians
 *  There the quadrant is k = 0, 1 or 2 and the cosine cos(r), -sin(r) or -cos(r) of what is left: both series are
 *  summed, and 1 - k and k (k - 2) are the weights, 0 or +-1, that choose between them.                             */
TALV_INLINE void cos_pair_wide(Wide4 x, Wide4 y, Wide4 *cos_x, Wide4 *cos_y) noexcept
{
    const WideAngle a = reduce_angle(x), b = reduce_angle(y);
    const Wide4 az = a.rest * a.rest, bz = b.rest * b.rest;
    Wide4 a_sin = broadcast(trig_series<wide_t>.sine[TrigLimits<wide_t>::TERMS - 1]), b_sin = a_sin;
    Wide4 a_cos = broadcast(trig_series<wide_t>.cosine[TrigLimits<wide_t>::TERMS - 1]), b_cos = a_cos;
    for (int n = TrigLimits<wide_t>::TERMS - 2; n >= 0; n--) {
        const Wide4 sine = broadcast(trig_series<wide_t>.sine[n]), cosine = broadcast(trig_series<wide_t>.cosine[n]);
        a_sin = a_sin * az + sine;
        b_sin = b_sin * bz + sine;
        a_cos = a_cos * az + cosine;
        b_cos = b_cos * bz + cosine;
    }
    const Wide4 one = broadcast(1.0), two = broadcast(2.0);
    *cos_x = a_cos * (one - a.quadrant) + a.rest * a_sin * (a.quadrant * (a.quadrant - two));
    *cos_y = b_cos * (one - b.quadrant) + b.rest * b_sin * (b.quadrant * (b.quadrant - two));
}

constexpr float QUICK_COS_TOP = 3.2f; /* end of the range of twice_cos_nearly() */
constexpr int QUICK_TERMS = 10;
constexpr double QUICK_COS_ERROR = 1e-14;

constexpr Table<wide_t, QUICK_TERMS> make_quick_series() noexcept
{
    Table<wide_t, QUICK_TERMS> table{};
    double c = -2.0; /* 2 cos(x) = -2 sin(x - pi/2) */
    for (int n = 0; n < QUICK_TERMS; n++) {
        table.entry[n] = static_cast<wide_t>(c);
        c /= -(2.0 * n + 2.0) * (2.0 * n + 3.0);
    }
    return table;
}

constexpr Table<wide_t, QUICK_TERMS> quick_series = make_quick_series();

/** 2 cos(x) for angles within 0 .. 3.2 radians, by the Taylor series around pi/2. Its first term left out is below 2e-15
 *  there, and its roundings are too: it is not the defined 2 cos_wide(x) but within QUICK_COS_ERROR of it.           */
TALV_INLINE Wide4 twice_cos_nearly(Wide4 x) noexcept
{
    const Wide4 t = (x - broadcast(TrigLimits<wide_t>::HALF_PI_HIGH)) - broadcast(TrigLimits<wide_t>::HALF_PI_LOW);
    const Wide4 z = t * t;
    Wide4 sum = broadcast(quick_series[QUICK_TERMS - 1]);
    TALV_UNROLL
    for (int n = QUICK_TERMS - 2; n >= 0; n--)
        sum = multiply_add_nearly(sum, z, broadcast(quick_series[n]));
    return t * sum;
}

constexpr int LSF_ROWS = (LPC_ORDER + LANES - 1) / LANES * LANES; /* LPC_ORDER, up to whole groups of four */

/** 2 cos(w), rounded to float, of element k of four vectors, as it is defined
 *  lsf  I  [LSF_ROWS]  within the range of cos_pair_wide()
 *  c    O  [LPC_ORDER]                                                                                             */
[[gnu::cold]] void twice_cosines_exactly(const Float4 *lsf, Wide4 *c) noexcept
{
    TALV_NO_UNROLL
    for (int k = 0; k < LPC_ORDER; k += 2) {
        Wide4 even, odd;
        cos_pair_wide(widened(lsf[k]), widened(lsf[k + 1]), &even, &odd);
        c[k] = rounded_wide(even + even);
        c[k + 1] = rounded_wide(odd + odd);
    }
}

/** The same by a short series, unless that leaves in doubt to which float the defined value is rounded (rounds_alike())
 *  quick  I  whether all angles are within the range of twice_cos_nearly()                                         */
TALV_INLINE void twice_cosines(const Float4 *lsf, bool quick, Wide4 *c) noexcept
{
    if (quick && sizeof(wide_t) > sizeof(float)) {
        const Wide4 error = broadcast(static_cast<wide_t>(QUICK_COS_ERROR));
        Wide4 doubt = {};
        TALV_NO_UNROLL
        for (int k = 0; k < LPC_ORDER; k++) {
            const Wide4 v = twice_cos_nearly(widened(lsf[k]));
            c[k] = rounded_wide(v - error);
            doubt = gather_difference(doubt, c[k], rounded_wide(v + error));
        }
        if (!any_bit(doubt)) [[likely]]
            return;
    }
    twice_cosines_exactly(lsf, c);
}

/** The product of 1 - c[2 i] z^-1 + z^-2, i = 0 .. LPC_ORDER/2 - 1, of four polynomials at once, as
 *  multiply_by_root_pair() has it. The highest coefficient is always 1 and the one before it the second: no others
 *  enter them.
 *  poly  O  [LPC_ORDER + 1]                                                                                        */
TALV_INLINE void root_product(const Wide4 *c, Wide4 *poly) noexcept
{
    poly[0] = poly[2] = broadcast(1.0);
    poly[1] = broadcast(0.0) - c[0];
    TALV_UNROLL_WIDE
    for (int degree = 4; degree <= LPC_ORDER; degree += 2) {
        const Wide4 factor = c[degree - 2];
        TALV_UNROLL_WIDE
        for (int i = degree - 2; i >= 2; i--)
            poly[i] = rounded_wide(subtract_exact(poly[i - 2], factor, poly[i - 1]) + poly[i]);
        poly[1] = rounded_wide(poly[1] - factor);
        poly[degree - 1] = poly[1];
        poly[degree] = poly[0];
    }
}

/** lsf_to_lpc for four vectors at once, LPC_ORDER elements each
 *  lsf    I  [LSF_ROWS]  element k of the four vectors; within the range of cos_pair_wide()
 *  quick  I              whether all are within that of twice_cos_nearly() too
 *  lpc    O  [LSF_ROWS]                                                                                            */
void lsf_to_lpc_four(const Float4 *lsf, bool quick, Float4 *lpc) noexcept
{
    Wide4 c[LPC_ORDER], S[LPC_ORDER + 1], D[LPC_ORDER + 1];
    twice_cosines(lsf, quick, c);
    root_product(c, S);
    root_product(c + 1, D);

    const Float4 half = {0.5f, 0.5f, 0.5f, 0.5f};
    lpc[0] = narrowed(S[1] + D[1]) * half;
    for (int j = 2; j <= LPC_ORDER; j++)
        lpc[j - 1] = narrowed((S[j - 1] - D[j - 1]) + rounded_wide(S[j] + D[j])) * half;
    for (int j = LPC_ORDER; j < LSF_ROWS; j++)
        lpc[j] = Float4{};
}

/** Whether all lanes lie within 0 .. top */
TALV_INLINE bool all_within(Float4 x, float top) noexcept
{
    return equal_lanes(within(x, 0.0f, top, -1.0f), x) == ALL_LANES;
}

/** intrp_lsf_lpc for LPC_ORDER elements, four steps at a time; false, and nothing done, where an end is out of the range
 *  of cos_pair_wide()                                                                                              */
bool intrp_lsf_lpc_wide(const float *lsf_from, const float *lsf_to, int steps, float *lpc) noexcept
{
    constexpr int GROUPS = LSF_ROWS / LANES;
    float from[LSF_ROWS] = {}, to[LSF_ROWS] = {};
    std::memcpy(from, lsf_from, LPC_ORDER * sizeof(float));
    std::memcpy(to, lsf_to, LPC_ORDER * sizeof(float));
    const Wide4 r = broadcast(wide(1.0f / static_cast<float>(steps)));
    Float4 cur[GROUPS], delta[GROUPS];
    bool in_range = true, quick = true;
    for (int g = 0; g < GROUPS; g++) {
        const Float4 end = load4(to + g * LANES);
        cur[g] = load4(from + g * LANES);
        delta[g] = narrowed((widened(end) - widened(cur[g])) * r);
        in_range = in_range && all_within(cur[g], WIDE_COS_TOP) && all_within(end, WIDE_COS_TOP);
        quick = quick && all_within(cur[g], QUICK_COS_TOP) && all_within(end, QUICK_COS_TOP);
    }
    if (!in_range)
        return false;
    for (int s = 0; s < steps; s += LANES) {
        Float4 lsf[LSF_ROWS], a[LSF_ROWS];
        for (int g = 0; g < GROUPS; g++) {
            Float4 block[LANES];
            for (int i = 0; i < LANES; i++)
                block[i] = cur[g] = cur[g] + delta[g];
            transpose(block);
            for (int i = 0; i < LANES; i++)
                lsf[g * LANES + i] = block[i];
        }
        lsf_to_lpc_four(lsf, quick, a);
        for (int g = 0; g < GROUPS; g++) {
            const int first = g < GROUPS - 1 ? g * LANES : LPC_ORDER - LANES; /* two elements once more */
            Float4 block[LANES] = {a[first], a[first + 1], a[first + 2], a[first + 3]};
            transpose(block);
            for (int i = 0; i < LANES && s + i < steps; i++)
                store4(lpc + (s + i) * LPC_ORDER + first, block[i]);
        }
    }
    return true;
}

} // namespace

int intrp_lsf_lpc(const float *lsf_from, const float *lsf_to, int order, int steps, float *lpc) noexcept
{
    if (order > LSF_STORE)
        return -1;

    if (order == LPC_ORDER && intrp_lsf_lpc_wide(lsf_from, lsf_to, steps, lpc)) [[likely]]
        return 0;

    float cur[LSF_STORE], d[LSF_STORE];
    const float r = 1.0f / static_cast<float>(steps);
    for (int k = 0; k < order; k++) {
        d[k] = rounded((wide(lsf_to[k]) - wide(lsf_from[k])) * wide(r));
        cur[k] = lsf_from[k];
    }
    for (int s = 0; s < steps; s++) {
        for (int k = 0; k < order; k++)
            cur[k] += d[k];
        if (lsf_to_lpc(order, cur, lpc + s * order) < 0)
            return -1;
    }
    return 0;
}

namespace
{

/** Open pairs that are too close, going up. `low` is the least value that the element before may take. */
void stabilize_upwards(float *lsf, int order, float spacing) noexcept
{
    const float half = 0.5f * spacing;
    const float hi = rounded(LSF_TOP - wide(spacing));
    float p = 0.0f;
    float low = 0.0f;
    for (int k = 0; k < order; k++) {
        const wide_t t = wide(p) + wide(spacing);
        if (t <= wide(lsf[k])) {
            low = rounded(t);
        } else {
            if (lsf[k] < p)
                lsf[k] = p;
            if (p > low) { /* room below: open the pair around its midpoint */
                const float m = rounded((wide(lsf[k]) + wide(p)) * wide(0.5) - wide(half));
                p = m < low ? low : m;
                lsf[k - 1] = p;
            }
            lsf[k] = p + spacing;
            low = lsf[k];
        }
        if (lsf[k] > hi) {
            lsf[k] = hi;
            if (hi < low)
                low = hi;
        }
        p = lsf[k];
    }
}

/** The same going down; `high` is the largest value that the element after may take. */
void stabilize_downwards(float *lsf, int order, float spacing) noexcept
{
    const float half = 0.5f * spacing;
    float p = rounded(LSF_TOP);
    float high = rounded(LSF_TOP);
    for (int k = order - 1; k >= 0; k--) {
        const wide_t t = wide(p) - wide(spacing);
        if (t >= wide(lsf[k])) {
            high = rounded(t);
        } else {
            if (lsf[k] > p)
                lsf[k] = p;
            if (p < high) { /* room above */
                const float m = rounded((wide(lsf[k]) + wide(p)) * wide(0.5) + wide(half));
                p = m > high ? high : m;
                lsf[k + 1] = p;
            }
            lsf[k] = p - spacing;
            high = lsf[k];
        }
        p = lsf[k];
    }
}

} // namespace

int lsf_stabilize(float *lsf, int order, float spacing) noexcept
{
    const wide_t even_spread = LSF_TOP / wide(order + 1);
    if (even_spread <= wide(spacing)) {
        const float q = rounded(even_spread);
        for (int k = 0; k < order; k++)
            lsf[k] = static_cast<float>(k + 1) * q;
        return -1;
    }
    stabilize_upwards(lsf, order, spacing);
    stabilize_downwards(lsf, order, spacing);
    return 0;
}

} // namespace talv::inline TALV_TARGET
