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
TALV_LANES Pair64 nearly_rounded(Pair64 x) noexcept
{
    return rounded_wide(x);
}
struct Ties {
};
TALV_LANES Wide4 nearly_rounded(const Wide4 &x, Ties *) noexcept
{
    return rounded_wide(x);
}
TALV_LANES bool any(const Ties &) noexcept
{
    return false;
}
TALV_LANES bool all_moderate(const float *, int) noexcept
{
    return true;
}
TALV_LANES Pair64 subtract_nearly(Pair64 sum, Pair64 x, Pair64 y) noexcept
{
    return subtract_exact(sum, x, y);
}
TALV_LANES Wide4 add_nearly(const Wide4 &sum, const Wide4 &x, const Wide4 &y) noexcept
{
    return add_exact(sum, x, y);
}
TALV_LANES Wide4 add_exact_apart(const Wide4 &sum, const Wide4 &x, const Wide4 &y) noexcept
{
    return add_exact(sum, x, y);
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

/** Ties that nearly_rounded() met in a Wide4: a lane that is not 0 tells of one */
#ifdef TALV_SIMD_AVX2
struct Ties {
    __m256i seen = _mm256_setzero_si256();
};

TALV_INLINE Wide4 nearly_rounded(Wide4 x, Ties *ties) noexcept
{
    const __m256i raised = _mm256_add_epi64(_mm256_castpd_si256(x.v), _mm256_set1_epi64x(HALF_FLOAT_STEP));
    const __m256i cut = _mm256_and_si256(raised, _mm256_set1_epi64x(FLOAT_BITS_MASK));
    ties->seen = _mm256_or_si256(ties->seen, _mm256_cmpeq_epi64(raised, cut));
    return {_mm256_castsi256_pd(cut)};
}
TALV_INLINE bool any(const Ties &ties) noexcept
{
    return _mm256_testz_si256(ties.seen, ties.seen) == 0;
}
#else
struct Ties {
    Pair64Bits seen = {};
};

/* Compared in halves, which SSE2 can do: the upper half of a pattern is never cut. */
TALV_INLINE Pair64 nearly_rounded(Pair64 x, Ties *ties) noexcept
{
    const Pair64Bits raised = reinterpret_cast<Pair64Bits>(x) + HALF_FLOAT_STEP;
    const Pair64Bits cut = raised & FLOAT_BITS_MASK;
    ties->seen |= reinterpret_cast<Pair64Bits>(reinterpret_cast<Int4>(raised) == reinterpret_cast<Int4>(cut));
    return reinterpret_cast<Pair64>(cut);
}
TALV_INLINE Wide4 nearly_rounded(Wide4 x, Ties *ties) noexcept
{
    return {nearly_rounded(x.lo, ties), nearly_rounded(x.hi, ties)};
}
TALV_INLINE bool any(const Ties &ties) noexcept
{
    constexpr int64_t LOWER_HALF = 0xffffffff;
    return ((ties.seen[0] | ties.seen[1]) & LOWER_HALF) != 0;
}
#endif

/** Whether every value is 0 or 2^-51 to 2^59 in magnitude. Sums of up to 500 products of such floats are then multiples
 *  of 2^-148 and below 2^127, so that rounding them never leaves the range of normal floats: what is below 2^-126 has
 *  few enough digits to stay as it is.                                                                             */
inline bool all_moderate(const float *x, int n) noexcept
{
    constexpr uint32_t LEAST = (127u - 51u) << 23, SPAN = (51u + 59u) << 23;
    uint32_t odd_ones = 0;
    for (int i = 0; i < n; i++) {
        uint32_t bits;
        std::memcpy(&bits, x + i, sizeof bits);
        bits &= 0x7fffffffu;
        odd_ones |= bits != 0 && bits - LEAST > SPAN ? 1u : 0u;
    }
    return odd_ones == 0;
}

/** sum - x y and sum + x y in a quick chain, fused where the machine can, whether the product is exact or not */
TALV_INLINE Pair64 subtract_nearly(Pair64 sum, Pair64 x, Pair64 y) noexcept
{
    return subtract_exact(sum, x, y);
}
TALV_INLINE Wide4 add_nearly(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return add_exact(sum, x, y);
}

/** add_exact() that is not fused: the product does not wait for the sum */
TALV_INLINE Wide4 add_exact_apart(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return sum + x * y;
}

/** A number so large that a double of its size has the last place of a float of x's size: what is added to it is
 *  rounded to whole such places, and stays so when it is taken away again. For normal x.                             */
inline wide_t grid_of(float x) noexcept
{
    constexpr uint64_t EXPONENT = uint64_t{0x7ff} << 52;
    const wide_t v = wide(x);
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    bits &= EXPONENT;
    wide_t power;
    std::memcpy(&power, &bits, sizeof power);
    return power * wide(1.5 * 0x1p29);
}

/* Lane i: the sum of lanes 0 to i. And: lane 3 in all of them; and: the last lane of x and the first three of y */
#ifdef TALV_SIMD_AVX2
TALV_INLINE Wide4 running_sums(Wide4 x) noexcept
{
    const __m256d pairs = _mm256_add_pd(x.v, _mm256_unpacklo_pd(_mm256_setzero_pd(), x.v));
    const __m256d low = _mm256_permute2f128_pd(pairs, pairs, 0x08);
    return {_mm256_add_pd(pairs, _mm256_unpackhi_pd(low, low))};
}
TALV_INLINE Wide4 last_lane(Wide4 x) noexcept
{
    return {_mm256_permute4x64_pd(x.v, 0xff)};
}
TALV_INLINE Wide4 last_and_three(Wide4 x, Wide4 y) noexcept
{
    const __m256d middle = _mm256_permute2f128_pd(x.v, y.v, 0x21);
    return {_mm256_shuffle_pd(middle, y.v, 0x5)};
}
#else
TALV_INLINE Wide4 running_sums(Wide4 x) noexcept
{
    const Pair64 zero = twice(wide(0));
    const Pair64 lo = x.lo + low_lanes(zero, x.lo), hi = x.hi + low_lanes(zero, x.hi);
    return {lo, hi + high_twice(lo)};
}
TALV_INLINE Wide4 last_lane(Wide4 x) noexcept
{
    return {high_twice(x.hi), high_twice(x.hi)};
}
TALV_INLINE Wide4 last_and_three(Wide4 x, Wide4 y) noexcept
{
    return {staggered(x.hi, y.lo), staggered(y.lo, y.hi)};
}
#endif

#endif

} // namespace talv::inline TALV_TARGET

#endif
