/** Comparison of floats as integers */
#ifndef TALV_DSP_FLOAT_ORDER_H
#define TALV_DSP_FLOAT_ORDER_H

#include "dsp/target.h"

#include <bit>
#include <cstdint>

namespace talv::inline TALV_TARGET
{

/** The 32-bit pattern of a float as a signed integer
 *  For values >= 0 integer order is numeric order. A negative value lies below every non-negative one; of two negative
 *  values the one of larger magnitude lies higher. The correlation searches are defined by this order.              */
constexpr int32_t float_order(float v) noexcept
{
    return std::bit_cast<int32_t>(v);
}

} // namespace talv::inline TALV_TARGET

#endif
