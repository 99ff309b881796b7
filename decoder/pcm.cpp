#include "decoder/pcm.h"

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int16_t OUT_OF_RANGE = -32768;

/* What rounds, ties to even, into the range of 16 bits: -32768.5 goes to -32768, 32767.5 would go to 32768. */
constexpr float LOWEST = -32768.5f;
constexpr float BEYOND = 32767.5f;

/* Floats from 2^23 on are whole numbers: adding and subtracting this rounds away the fraction. */
constexpr float ROUNDER = 12582912.0f; /* 1.5 * 2^23 */

} // namespace

void pcm_round(int n, const float *x, int16_t *pcm) noexcept
{
    for (int i = 0; i < n; i++) {
        const bool fits = x[i] >= LOWEST && x[i] < BEYOND; /* false for NaN too; tested before any conversion */
        pcm[i] = fits ? static_cast<int16_t>((x[i] + ROUNDER) - ROUNDER) : OUT_OF_RANGE;
    }
}

} // namespace talv::inline TALV_TARGET
