#include "encoder/lpc.h"

#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/lsf.h"
#include "dsp/simd.h"
#include "dsp/twofold.h"
#include "dsp/wide.h"

#include <algorithm>
#include <utility>

namespace talv::inline TALV_TARGET
{

namespace
{

/* White noise 50 dB below the signal, added to lag 0, keeps the recursion well-conditioned; the floor stands in for it
 * when there is no signal. */
constexpr float ENERGY_FLOOR = 1e-6f;
constexpr double WHITE_NOISE = 1e-5;

/* Two steps in which a float-only build must not round on the way: in the difference of nearly equal numbers, which is
 * what the last prediction errors of a strong tone are, that would be far more than a rounding. */

float with_white_noise(float r0) noexcept
{
#ifdef TALV_FLOAT_ONLY
    return __builtin_fmaf(r0, static_cast<float>(WHITE_NOISE), r0);
#else
    return rounded(wide(r0) * (1 + WHITE_NOISE));
#endif
}

/** (1 - k^2) E */
float prediction_error(float k, float E) noexcept
{
#ifdef TALV_FLOAT_ONLY
    const Twofold rest = add_product({1.0f, 0.0f}, -k, k);
    return __builtin_fmaf(rest.high, E, rest.low * E);
#else
    return rounded((1 - wide(k) * wide(k)) * wide(E));
#endif
}

/** LSFs from the autocorrelation, which is changed; returns what getlsf2() does */
int lsf_of_autocorr(float *r, int order, float *lsf) noexcept
{
    float a[ORDER_MAX];
    if (r[0] < ENERGY_FLOOR)
        r[0] = ENERGY_FLOOR;
    r[0] = with_white_noise(r[0]);
    if (levinson(r, order, a) < 0.0f)
        return -3;
    if (lpc_to_lsf(lsf, a, order) < 0)
        return -4;
    if (lsf_stabilize(lsf, order, LSF_SPACING_ANALYSIS) < 0)
        return -5;
    return 0;
}

} // namespace

int getlsf2(const float *signal, int n, int order, float *lsf) noexcept
{
    if (n > ANALYSIS_MAX)
        return -1;
    if (order > ORDER_MAX)
        return -2;
    float work[ANALYSIS_MAX], r[ORDER_MAX + 1];
    window_autocorr(signal, n, r, order, work, analysis_window);
    return lsf_of_autocorr(r, order, lsf);
}

int getlsf2(Autocorr *window, float *lsf) noexcept
{
    float r[LPC_ORDER + 1];
    window->finish(r, LPC_ORDER);
    return lsf_of_autocorr(r, LPC_ORDER, lsf);
}

float levinson(const float *r, int order, float *a) noexcept
{
    /* Room for whole groups on both sides of the coefficients; what lies beyond those of a stage does not matter. */
    constexpr int ROOM = (ORDER_MAX + LANES - 1) / LANES * LANES;
    float room[2][LANES + ROOM] = {};
    float *now = room[0] + LANES, *next = room[1] + LANES;
    wide_t wide_r[ORDER_MAX + 1];
    widen(r, order + 1, wide_r);
    std::fill_n(a, order, 0.0f);

    float E = r[0];
    for (int i = 0; i < order; i++) {
        float t = r[i + 1];
        for (int j = 0; j < i; j++)
            t = rounded(add_exact(wide(t), wide_r[i - j], wide(now[j])));
        const float k = -t / E;
        E = prediction_error(k, E);
        if (E <= 0.0f) {
            std::copy_n(now, i, a);
            return E;
        }
        for (int j = 0; j < i; j += LANES)
            store_rounded(next + j,
                          add_exact(load_wide(now + j), broadcast(wide(k)), load_wide_reversed(now + i - LANES - j)));
        next[i] = k;
        std::swap(now, next);
    }
    std::copy_n(now, order, a);
    return E;
}

} // namespace talv::inline TALV_TARGET
