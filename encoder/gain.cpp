#include "encoder/gain.h"

#include "dsp/constants.h"
#include "dsp/simd_chain.h"
#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{

static_assert(QUARTERS == LANES); /* the four windows run side by side */

/** Sums of squares of four windows of L samples, `step` apart, the first of which ends at signal[step], each rounded to
 *  float at every term
 *  quick   whether to round nearly
 *  return  whether sum is the rounded one, if the samples are moderate                                              */
template <bool quick>
bool square_sums(const float *signal, int L, int step, float *sum) noexcept
{
    Wide4 acc = broadcast(wide(0));
    Ties ties;
    const auto add_squares = [&](Wide4 s) {
        const Wide4 next = add_exact(acc, s, s);
        acc = quick ? nearly_rounded(next, &ties) : rounded_wide(next);
    };
    int i = step - L;
    for (; i + LANES <= step; i += LANES) {
        Float4 block[LANES] = {load4(signal + i), load4(signal + step + i), load4(signal + 2 * step + i),
                               load4(signal + 3 * step + i)};
        transpose(block);
        TALV_UNROLL
        for (int t = 0; t < LANES; t++)
            add_squares(widened(block[t]));
    }
    for (; i < step; i++)
        add_squares(load_strided(signal + i, step));
    store_rounded(sum, acc);
    return !any(ties);
}

} // namespace

void subframe_rms(const float *signal, int length, int P, int segments, float *out) noexcept
{
    const int seg = length / segments;
    int L = P; /* a whole number of cycles, at least a segment: the window holds the same phases wherever it lies */
    while (L < seg)
        L += P;
    const wide_t r = wide(1.0f / static_cast<float>(L));

    float sum[LANES];
    if (!square_sums<true>(signal, L, seg, sum) || !all_moderate(signal + seg - L, length - seg + L))
        square_sums<false>(signal, L, seg, sum);
    for (int s = 0; s < segments; s++)
        out[s] = rounded(std::sqrt(std::sqrt(wide(sum[s]) * r)));
}

} // namespace talv::inline TALV_TARGET
