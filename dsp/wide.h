/** The codec's two widths: values are stored as float, expressions run in wide_t, which is double
 *
 *  A product of two floats is exact in double, so that only sums round there; rounded() marks each place where the
 *  result is brought back to a float, which belongs to the arithmetic like any other step.
 *
 *  In a build for processors that have no double-precision hardware (TALV_FLOAT_ONLY) wide_t is float. Results then
 *  differ from those of all other builds, though not among float-only builds, and the frames mean the same. Tables are
 *  worked out in double by every build, when it is compiled.
 */
#ifndef TALV_DSP_WIDE_H
#define TALV_DSP_WIDE_H

#include "dsp/target.h"

#include <concepts>

namespace talv::inline TALV_TARGET
{

#ifdef TALV_FLOAT_ONLY
using wide_t = float;
#else
using wide_t = double;
#endif

constexpr wide_t wide(float v) noexcept
{
    return static_cast<wide_t>(v);
}
constexpr wide_t wide(std::integral auto v) noexcept
{
    return static_cast<wide_t>(v);
}
/** A constant, which the source gives in double */
consteval wide_t wide(double v) noexcept
{
    return static_cast<wide_t>(v);
}

constexpr float rounded(double v) noexcept
{
    return static_cast<float>(v);
}
#ifdef TALV_FLOAT_ONLY
constexpr float rounded(float v) noexcept
{
    return v;
}
#endif

/* Sums of doubles that are rounded once. Two orders of adding up n terms differ by at most 2 n / 2^53 of the sum of the
 * terms' magnitudes. Where no boundary between floats lies within that distance of the one, the other is rounded to the
 * same float, and there is no need to work it out (Ziv, "Fast Evaluation of Elementary Mathematical Functions with
 * Correctly Rounded Last Bit", ACM Trans. Math. Software 17, 1991).                                                 */
inline constexpr wide_t SUM_ORDER_ERROR = wide(0x1p-42); /* for 500 terms; twice what it has to be */

/** Whether all values from sum - error to sum + error are rounded to one float, which no order settles where nothing is
 *  wider than that
 *  nearest  O   that float */
constexpr bool rounds_alike(wide_t sum, wide_t error, float *nearest) noexcept
{
    *nearest = rounded(sum - error);
    return sizeof(wide_t) > sizeof(float) && *nearest == rounded(sum + error);
}

} // namespace talv::inline TALV_TARGET

#endif
