/** Chains of values that are rounded to float at every step
 *
 *  Rounding a double to float and widening it again takes twice as long as the operation between, and in a chain nothing
 *  hides it. So such a chain is first run by quicker steps that give the same floats but for a case in some 2^29, and
 *  then proved: each float is worked out once more from the one before, as the definition has it, four at a time since
 *  nothing waits any more. If a step does not hold, the chain is run again as it is defined. What holds step by step
 *  from the first value on is the defined result.
 */
#ifndef TALV_DSP_SIMD_CHAIN_H
#define TALV_DSP_SIMD_CHAIN_H

#include "dsp/simd_float.h"

namespace talv::inline TALV_TARGET
{

#ifdef TALV_SIMD_PLAIN

/* The chain as it is defined: nothing is quicker there. */
inline constexpr bool CHAIN_AS_DEFINED = true;
using FloatLink = float;
TALV_LANES FloatLink add_square_nearly(FloatLink sum, float x) noexcept
{
    return rounded(add_exact(wide(sum), wide(x), wide(x)));
}
TALV_LANES FloatLink subtract_square_nearly(FloatLink sum, float x) noexcept
{
    return rounded(subtract_exact(wide(sum), wide(x), wide(x)));
}
TALV_LANES FloatLink float_link(float x) noexcept
{
    return x;
}
TALV_LANES float link_value(FloatLink x) noexcept
{
    return x;
}

#else

inline constexpr bool CHAIN_AS_DEFINED = false;
using Pair64Bits = int64_t __attribute__((vector_size(16)));

/* A double has 29 bits more than a float. */
inline constexpr int64_t HALF_FLOAT_STEP = int64_t{1} << 28;
inline constexpr int64_t FLOAT_BITS_MASK = -(int64_t{1} << 29);

/** The nearest float, found on the bit pattern. Not as rounded() would have it: ties, which go away from zero, and
 *  values outside the range of normal floats.                                                                       */
TALV_INLINE Pair64 nearly_rounded(Pair64 x) noexcept
{
    return reinterpret_cast<Pair64>((reinterpret_cast<Pair64Bits>(x) + HALF_FLOAT_STEP) & FLOAT_BITS_MASK);
}

/** A link of a chain of floats, to which squares of floats are added: where there are fused operations they work on
 *  floats, elsewhere on doubles that hold floats                                                                    */
#ifdef TALV_SIMD_AVX2
using FloatLink = float;
TALV_INLINE FloatLink add_square_nearly(FloatLink sum, float x) noexcept
{
    return __builtin_fmaf(x, x, sum);
}
TALV_INLINE FloatLink subtract_square_nearly(FloatLink sum, float x) noexcept
{
    return __builtin_fmaf(-x, x, sum);
}
TALV_INLINE FloatLink float_link(float x) noexcept
{
    return x;
}
TALV_INLINE float link_value(FloatLink x) noexcept
{
    return x;
}
#else
using FloatLink = Pair64;
TALV_INLINE FloatLink add_square_nearly(FloatLink sum, float x) noexcept
{
    return nearly_rounded(sum + twice(wide(x) * wide(x)));
}
TALV_INLINE FloatLink subtract_square_nearly(FloatLink sum, float x) noexcept
{
    return nearly_rounded(sum - twice(wide(x) * wide(x)));
}
TALV_INLINE FloatLink float_link(float x) noexcept
{
    return twice(wide(x));
}
TALV_INLINE float link_value(FloatLink x) noexcept
{
    return rounded(x[0]);
}
#endif

#endif

} // namespace talv::inline TALV_TARGET

#endif
