/** Sums of floats and of their products to twice a float's precision, in float arithmetic alone
 *
 *  A sum is kept as two floats, the second of which gathers what rounding took from the first: the rounding error of an
 *  addition of floats is a float, and so is that of a product, which a fused operation gives (Ogita, Rump and Oishi,
 *  "Accurate Sum and Dot Product", SIAM J. Sci. Comput. 26, 2005). For float-only builds, where a sum in float would be
 *  too coarse and one in double takes a library.
 */
#ifndef TALV_DSP_TWOFOLD_H
#define TALV_DSP_TWOFOLD_H

#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

struct Twofold {
    float high, low;
};

inline Twofold operator+(Twofold sum, float x) noexcept
{
    const float high = sum.high + x;
    const float added = high - sum.high;
    return {high, sum.low + ((sum.high - (high - added)) + (x - added))};
}

/** sum + x y */
inline Twofold add_product(Twofold sum, float x, float y) noexcept
{
    const float product = x * y;
    const Twofold next = sum + product;
    return {next.high, next.low + __builtin_fmaf(x, y, -product)};
}

/** The nearest float */
inline float rounded(Twofold sum) noexcept
{
    return sum.high + sum.low;
}

} // namespace talv::inline TALV_TARGET

#endif
