#include "encoder/lpc.h"

#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/lsf.h"
#include "dsp/simd_chain.h"
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

namespace
{

#ifdef TALV_SIMD_PLAIN

bool levinson_quickly(const float *, float *, float *) noexcept
{
    return false;
}

#else

/** levinson() of the codec's order by quick chains; returns whether they hold (dsp/simd_chain.h)
 *  The coefficients and the same in reverse, with the leading 1, stay in registers. What a sum adds up does not wait for
 *  it, nor does the inverse of E. A quotient by it errs by two roundings of a double: where what is twice as far away is
 *  rounded alike, so is the true one.                                                                                */
[[gnu::noinline]] bool levinson_quickly(const float *r, float *a, float *error) noexcept
{
    constexpr int GROUPS = LPC_ORDER / LANES + 1;
    wide_t reversed[LPC_ORDER + GROUPS * LANES], products[GROUPS * LANES]; /* reversed: followed by zeros */
    for (int m = 0; m < LPC_ORDER; m++)
        reversed[m] = wide(r[LPC_ORDER - m]);
    Wide4 forward[GROUPS], backward[GROUPS], found = broadcast(wide(0));
    TALV_UNROLL
    for (int g = 0; g < GROUPS; g++) {
        forward[g] = backward[g] = found;
        store(reversed + LPC_ORDER + LANES * g, found);
    }
    backward[0] = make_wide4(wide(1), wide(0), wide(0), wide(0));
    Pair64 differences = twice(wide(0));
    Ties ties; /* the proof would find them */
    const Pair64 one = twice(wide(1));
    Pair64 E = twice(wide(r[0]));
    TALV_NO_UNROLL
    for (int i = 0; i < LPC_ORDER; i++) {
        const wide_t *partners = reversed + LPC_ORDER - i;
        const Wide4 first = forward[0] * load(partners);
        store(products, first);
        TALV_UNROLL
        for (int g = 1; g < GROUPS; g++)
            store(products + LANES * g, forward[g] * load(partners + LANES * g));
        Pair64 t = twice(wide(r[i + 1])), product = low_twice(low_half(first));
        TALV_NO_UNROLL
        for (int j = 0; j < i;) {
            const Pair64 sum = t + product;
            t = nearly_rounded(sum);
            differences = gather_difference(differences, t, rounded_wide(sum));
            product = twice(products[++j]);
        }

        const Pair64 quotient = t * (-one / E), slack = quotient * twice(wide(0x1p-51));
        const Pair64 k = nearly_rounded(quotient);
        differences = gather_difference(differences, k, rounded_wide(quotient - slack));
        differences = gather_difference(differences, k, rounded_wide(quotient + slack));
        const Pair64 wider_E = (one - k * k) * E;
        E = nearly_rounded(wider_E);
        differences = gather_difference(differences, E, rounded_wide(wider_E));
        if (E[0] <= 0)
            return false;

        const Wide4 all_k = halves(k, k);
        Wide4 before = all_k;
        TALV_UNROLL
        for (int g = 0; g < GROUPS; g++) {
            const Wide4 wider = add_exact(forward[g], all_k, backward[g]);
            const Wide4 mirrored = nearly_rounded(add_exact(backward[g], all_k, forward[g]), &ties);
            forward[g] = nearly_rounded(wider, &ties);
            found = gather_difference(found, forward[g], rounded_wide(wider));
            backward[g] = last_and_three(before, mirrored);
            before = mirrored;
        }
    }
    float all[GROUPS * LANES];
    TALV_UNROLL
    for (int g = 0; g < GROUPS; g++)
        store_rounded(all + LANES * g, forward[g]);
    std::copy_n(all, LPC_ORDER, a);
    *error = rounded(E[0]);
    return !any_bit(gather_difference(found, halves(differences, differences), broadcast(wide(0))));
}

#endif

} // namespace

[[gnu::noinline]] float levinson(const float *r, int order, float *a) noexcept
{
    /* Room for whole groups on both sides of the coefficients; what lies beyond those of a stage does not matter. */
    constexpr int ROOM = (ORDER_MAX + LANES - 1) / LANES * LANES;
    float E;
    if (SUMS_IN_REGISTERS > 0 && order == LPC_ORDER && levinson_quickly(r, a, &E)) [[likely]]
        return E;

    float room[2][LANES + ROOM] = {};
    float *now = room[0] + LANES, *next = room[1] + LANES;
    wide_t wide_r[ORDER_MAX + 1];
    widen(r, order + 1, wide_r);
    std::fill_n(a, order, 0.0f);

    E = r[0];
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
