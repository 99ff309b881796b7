#include "encoder/gain.h"

#include "dsp/constants.h"
#include "dsp/simd.h"
#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{

static_assert(QUARTERS == LANES); /* the four windows run side by side */

} // namespace

void subframe_rms(const float *signal, int length, int P, int segments, float *out) noexcept
{
    const int seg = length / segments;
    int L = P; /* a whole number of cycles, at least a segment: the window holds the same phases wherever it lies */
    while (L < seg)
        L += P;
    const wide_t r = wide(1.0f / static_cast<float>(L));

    Wide4 acc = broadcast(0.0); /* rounded to float at every term */
    for (int i = seg - L; i < seg; i++) {
        const Wide4 s = load_strided(signal + i, seg);
        acc = rounded_wide(add_exact(acc, s, s));
    }
    float sum[LANES];
    store_rounded(sum, acc);
    for (int s = 0; s < segments; s++)
        out[s] = rounded(std::sqrt(std::sqrt(wide(sum[s]) * r)));
}

} // namespace talv::inline TALV_TARGET
