#include "decoder/pcm.h"

#include "dsp/simd_float.h"

#include <bit>

namespace talv::inline TALV_TARGET
{

void pcm_round(int n, const float *x, int16_t *pcm) noexcept
{
    int i = 0;
    for (; i + 2 * LANES <= n; i += 2 * LANES)
        store_rounded_16(pcm + i, load4(x + i), load4(x + i + LANES));
    for (; i < n; i++) {
        const bool fits = x[i] >= ROUNDS_TO_16_FROM && x[i] < ROUNDS_TO_16_BELOW; /* false for NaN too */
        pcm[i] = static_cast<int16_t>(std::bit_cast<int32_t>((fits ? x[i] : NOT_IN_16) + WHOLE_NUMBERS));
    }
}

} // namespace talv::inline TALV_TARGET
