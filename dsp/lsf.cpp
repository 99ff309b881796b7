#include "dsp/lsf.h"

#include "dsp/constants.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int LPC_CONVERT_MAX = 32; /* largest order of lsf_to_lpc */

/** Multiply a polynomial by 1 - 2 cos(w) z^-1 + z^-2, from the top, so that every step reads coefficients that this
 *  factor has not changed yet. On entry the polynomial has degree `degree` - 2, on return `degree`.                  */
void multiply_by_root_pair(float *poly, int degree, float w) noexcept
{
    const float c = rounded(2.0 * cos_wide(wide(w)));
    for (int i = degree; i >= 2; i--)
        poly[i] = rounded(wide(poly[i - 2]) - wide(c) * wide(poly[i - 1]) + wide(poly[i]));
    poly[1] -= c;
}

} // namespace

int lsf_to_lpc(int order, const float *lsf, float *lpc) noexcept
{
    if (order > LPC_CONVERT_MAX)
        return -1;

    float S[LPC_CONVERT_MAX + 1] = {1.0f};
    float D[LPC_CONVERT_MAX + 1] = {1.0f};
    for (int f = 1; f <= order / 2; f++) {
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

int intrp_lsf_lpc(const float *lsf_from, const float *lsf_to, int order, int steps, float *lpc) noexcept
{
    if (order > LSF_STORE)
        return -1;

    float cur[LSF_STORE];
    float d[LSF_STORE];
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
        const double t = wide(p) + wide(spacing);
        if (t <= wide(lsf[k])) {
            low = rounded(t);
        } else {
            if (lsf[k] < p)
                lsf[k] = p;
            if (p > low) { /* room below: open the pair around its midpoint */
                const float m = rounded((wide(lsf[k]) + wide(p)) * 0.5 - wide(half));
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
        const double t = wide(p) - wide(spacing);
        if (t >= wide(lsf[k])) {
            high = rounded(t);
        } else {
            if (lsf[k] > p)
                lsf[k] = p;
            if (p < high) { /* room above */
                const float m = rounded((wide(lsf[k]) + wide(p)) * 0.5 + wide(half));
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
    const double even_spread = LSF_TOP / (order + 1);
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
