/** The codec's two widths: values are stored as float, expressions run in double
 *
 *  A product of two floats is exact in double, so that only sums round there; rounded() marks each place where the
 *  result is brought back to a float, which belongs to the arithmetic like any other step.
 */
#ifndef TALV_DSP_WIDE_H
#define TALV_DSP_WIDE_H

#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

constexpr double wide(float v) noexcept
{
    return static_cast<double>(v);
}
constexpr float rounded(double v) noexcept
{
    return static_cast<float>(v);
}

} // namespace talv::inline TALV_TARGET

#endif
