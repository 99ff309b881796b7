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

} // namespace talv::inline TALV_TARGET

#endif
