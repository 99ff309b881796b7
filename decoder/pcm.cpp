#include "decoder/pcm.h"

#include "dsp/simd_float.h"

#include <bit>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr float OUT_OF_RANGE = -32768.0f;

/* What rounds, ties to even, into the range of 16 bits: -32768.5 goes to -32768, 32767.5 would go to 32768. */
constexpr float LOWEST = -32768.5f;
constexpr float BEYOND = 32767.5f;

/* Floats from 2^23 on are whole numbers: adding this rounds away the fraction and leaves the whole number, modulo 2^16,
 * in the low half of the sum's pattern. */
constexpr float ROUNDER = 12582912.0f; /* 1.5 * 2^23 */

/** The float whose pattern ends in the whole number that a sample is to become */
TALV_INLINE float rounding_sum(float x) noexcept
{
    const bool fits = x >= LOWEST && x < BEYOND; /* false for NaN too */
    return (fits ? x : OUT_OF_RANGE) + ROUNDER;
}

TALV_INLINE Float4 rounding_sum(Float4 x) noexcept
{
    return within(x, LOWEST, BEYOND, OUT_OF_RANGE) + ROUNDER;
}

} // namespace

void pcm_round(int n, const float *x, int16_t *pcm) noexcept
{
    int i = 0;
    for (; i + 2 * LANES <= n; i += 2 * LANES)
        store_low_halves(pcm + i, rounding_sum(load4(x + i)), rounding_sum(load4(x + i + LANES)));
    for (; i < n; i++)
        pcm[i] = static_cast<int16_t>(std::bit_cast<int32_t>(rounding_sum(x[i])));
}

} // namespace talv::inline TALV_TARGET
