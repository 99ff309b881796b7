/** Fixed point, 32 bits before the binary point and 32 behind it
 *
 *  For running sums of floats whose whole part decides something: a step between 2^-8 and 2^31 in magnitude has no digit
 *  below 2^-31, so that no addition rounds. In double such sums are exact as well; where there is nothing wider than
 *  float, 64-bit whole numbers are, and cost two additions.
 */
#ifndef TALV_DSP_FIXED_H
#define TALV_DSP_FIXED_H

#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

using Fixed = int64_t;

/** |x| < 2^31; digits below 2^-31 are cut off. By conversions to 32 bits alone, which small processors have. */
constexpr Fixed fixed(float x) noexcept
{
    const int32_t whole = static_cast<int32_t>(x);
    const float rest = x - static_cast<float>(whole); /* exact, with the sign of x */
    return int64_t{whole} * (int64_t{1} << 32) + int64_t{static_cast<int32_t>(rest * 0x1p31f)} * 2;
}

/** The largest whole number that is not above x */
constexpr int32_t whole_part(Fixed x) noexcept
{
    return static_cast<int32_t>(x >> 32);
}

/** What x is above it, rounded to float: 0 to 1, both included */
constexpr float fraction(Fixed x) noexcept
{
    return static_cast<float>(static_cast<uint32_t>(x)) * 0x1p-32f;
}

/** x / n, cut off, for x >= 0 and 0 < n < 2^16: in three divisions of 32 bits, as one of 64 takes a library */
constexpr Fixed divided(Fixed x, int32_t n) noexcept
{
    const uint32_t divisor = static_cast<uint32_t>(n), behind = static_cast<uint32_t>(x);
    const uint32_t whole = static_cast<uint32_t>(whole_part(x));
    const uint32_t middle = whole % divisor << 16 | behind >> 16;
    const uint32_t last = middle % divisor << 16 | (behind & 0xffffu);
    return (int64_t{whole / divisor} * 0x10000 + middle / divisor) * 0x10000 + last / divisor;
}

/** The nearest float, for |x| < 2^8 */
constexpr float nearest_float(Fixed x) noexcept
{
    const uint32_t behind = static_cast<uint32_t>(x);
    const float high = static_cast<float>(whole_part(x)) + static_cast<float>(behind >> 16) * 0x1p-16f; /* exact */
    return high + static_cast<float>(behind & 0xffffu) * 0x1p-32f;
}

} // namespace talv::inline TALV_TARGET

#endif
