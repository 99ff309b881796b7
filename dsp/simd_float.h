/** Four floats at once: operations lane by lane
 *
 *  For the stages that store every value they work out: transforms, spectra, filters. What holds for dsp/simd.h holds
 *  here too: lane by lane these are the operations of the scalar code.
 */
#ifndef TALV_DSP_SIMD_FLOAT_H
#define TALV_DSP_SIMD_FLOAT_H

#include "dsp/simd_convert.h"

#ifndef TALV_SIMD_PLAIN

namespace talv::inline TALV_TARGET
{

/** x where x >= 0, else 0 */
TALV_INLINE Float4 not_below_zero(Float4 x) noexcept
{
#if defined(__SSE2__)
    return _mm_max_ps(Float4{}, x);
#elif defined(TALV_SIMD_NEON)
    return vbslq_f32(vcltzq_f32(x), Float4{}, x);
#else
    return x < 0.0f ? Float4{} : x;
#endif
}

/** Square roots, which IEEE 754 rounds correctly everywhere */
TALV_INLINE Float4 square_root(Float4 x) noexcept
{
#if defined(__SSE2__)
    return _mm_sqrt_ps(x);
#elif defined(TALV_SIMD_NEON)
    return vsqrtq_f32(x);
#else
    return Float4{__builtin_sqrtf(x[0]), __builtin_sqrtf(x[1]), __builtin_sqrtf(x[2]), __builtin_sqrtf(x[3])};
#endif
}

/** Two floats from each of two places */
TALV_INLINE Float4 load_pairs(const float *x, const float *y) noexcept
{
#ifdef __SSE2__
    return _mm_castpd_ps(
        _mm_loadh_pd(_mm_load_sd(reinterpret_cast<const double *>(x)), reinterpret_cast<const double *>(y)));
#elif defined(TALV_SIMD_NEON)
    return vcombine_f32(vld1_f32(x), vld1_f32(y));
#else
    using Pair = float __attribute__((vector_size(8)));
    Pair a, b;
    std::memcpy(&a, x, sizeof a);
    std::memcpy(&b, y, sizeof b);
    return __builtin_shufflevector(a, b, 0, 1, 2, 3);
#endif
}

/** Four floats in the form in which multiply_subtract() is quickest: as they are where there is a fused operation on
 *  floats, widened where there is none                                                                              */
#if defined(TALV_SIMD_AVX2) || defined(TALV_SIMD_NEON)
struct FloatLanes {
    Float4 v;
};
TALV_INLINE FloatLanes float_lanes(Float4 x) noexcept
{
    return {x};
}
TALV_INLINE Wide4 widened(FloatLanes x) noexcept
{
    return widened(x.v);
}
#else
struct FloatLanes {
    Wide4 v;
};
TALV_INLINE FloatLanes float_lanes(Float4 x) noexcept
{
    return {widened(x)};
}
TALV_INLINE Wide4 widened(FloatLanes x) noexcept
{
    return x.v;
}
#endif

/** x y - z, rounded to float. With fused operations it is rounded once; elsewhere the product is exact, the difference
 *  is rounded to double and the result to float, which is the same unless the double lies halfway between two floats
 *  by its own rounding. The caller answers for that not happening.                                                  */
TALV_INLINE FloatLanes multiply_subtract(FloatLanes x, FloatLanes y, FloatLanes z) noexcept
{
#if defined(TALV_SIMD_AVX2)
    return {_mm_fmsub_ps(x.v, y.v, z.v)};
#elif defined(TALV_SIMD_NEON)
    return {vfmaq_f32(vnegq_f32(z.v), x.v, y.v)};
#else
    return {rounded_wide(x.v * y.v - z.v)};
#endif
}

TALV_INLINE FloatLanes doubled(FloatLanes x) noexcept
{
    return {x.v + x.v};
}

/** Two floats in the same form */
#if defined(TALV_SIMD_AVX2) || defined(TALV_SIMD_NEON)
using FloatPair = Float4; /* in the low lanes */
TALV_INLINE FloatPair float_pair(float a, float b) noexcept
{
    return Float4{a, b};
}
TALV_INLINE FloatPair multiply_subtract(FloatPair x, FloatPair y, FloatPair z) noexcept
{
    return multiply_subtract(FloatLanes{x}, FloatLanes{y}, FloatLanes{z}).v;
}
/* The first of each pair, and the second of each */
TALV_INLINE FloatLanes first_of(FloatPair p0, FloatPair p1, FloatPair p2, FloatPair p3) noexcept
{
    return {low_halves(interleave_low(p0, p1), interleave_low(p2, p3))};
}
TALV_INLINE FloatLanes second_of(FloatPair p0, FloatPair p1, FloatPair p2, FloatPair p3) noexcept
{
    return {high_halves(interleave_low(p0, p1), interleave_low(p2, p3))};
}
#else
using FloatPair = Pair64;
TALV_INLINE FloatPair float_pair(float a, float b) noexcept
{
    return Pair64{wide(a), wide(b)};
}
TALV_INLINE FloatPair multiply_subtract(FloatPair x, FloatPair y, FloatPair z) noexcept
{
    return rounded_wide(x * y - z);
}
TALV_INLINE FloatLanes first_of(FloatPair p0, FloatPair p1, FloatPair p2, FloatPair p3) noexcept
{
    return {{low_lanes(p0, p1), low_lanes(p2, p3)}};
}
TALV_INLINE FloatLanes second_of(FloatPair p0, FloatPair p1, FloatPair p2, FloatPair p3) noexcept
{
    return {{high_lanes(p0, p1), high_lanes(p2, p3)}};
}
#endif

/** Bit i tells whether lanes i are equal */
TALV_INLINE int equal_lanes(Float4 x, Float4 y) noexcept
{
#if defined(__SSE2__)
    return _mm_movemask_ps(_mm_cmpeq_ps(x, y));
#elif defined(TALV_SIMD_NEON)
    return static_cast<int>(lane_bits(vceqq_f32(x, y)));
#else
    const Int4 same = x == y;
    return (same[0] & 1) | (same[1] & 2) | (same[2] & 4) | (same[3] & 8);
#endif
}

/** Bit i tells whether lane i of x is not below that of y */
TALV_INLINE unsigned not_below(Float4 x, Float4 y) noexcept
{
#if defined(__SSE2__)
    return static_cast<unsigned>(_mm_movemask_ps(_mm_cmpge_ps(x, y)));
#elif defined(TALV_SIMD_NEON)
    return lane_bits(vcgeq_f32(x, y));
#else
    const auto of = [&](int i) { return x[i] >= y[i] ? 1u << i : 0u; };
    return of(0) | of(1) | of(2) | of(3);
#endif
}

/** The smaller of two, lane by lane, y where either has no value */
TALV_INLINE Float4 smaller(Float4 x, Float4 y) noexcept
{
#ifdef TALV_SIMD_NEON
    return vbslq_f32(vcltq_f32(x, y), x, y);
#else
    return x < y ? x : y;
#endif
}
TALV_INLINE Float4 magnitude(Float4 x) noexcept
{
    return reinterpret_cast<Float4>(reinterpret_cast<Int4>(x) & INT32_MAX);
}

/** x where low <= x < high, else `other` */
TALV_INLINE Float4 within(Float4 x, float low, float high, float other) noexcept
{
    const Int4 inside = (x >= low) & (x < high);
    const Float4 fill = {other, other, other, other};
    return reinterpret_cast<Float4>((inside & reinterpret_cast<Int4>(x)) | (~inside & reinterpret_cast<Int4>(fill)));
}

/** The low halves of eight patterns */
TALV_INLINE void store_low_halves(int16_t *out, Float4 x, Float4 y) noexcept
{
    const Short8 a = reinterpret_cast<Short8>(x), b = reinterpret_cast<Short8>(y);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const Short8 v = __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14);
#else
    const Short8 v = __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15);
#endif
    std::memcpy(out, &v, sizeof v);
}

} // namespace talv::inline TALV_TARGET

#endif

namespace talv::inline TALV_TARGET
{

/** Steps of v(j+1) = x v(j) - v(j-1), rounded to float as multiply_subtract() has it. Where only z + x y and z - x y are
 *  one operation every other two values are kept with their signs turned over, v(0), v(1), -v(2), -v(3), v(4) and so
 *  on: each is the sum or the difference of that two places before and a product, which is rounded alike (but for the
 *  sign of a 0).
 *  SIGN_TURNS  after how many values the signs come round
 *  j           I  modulo SIGN_TURNS                                                                                 */
#ifdef TALV_SIMD_NEON
inline constexpr int SIGN_TURNS = 4;
constexpr bool sign_turned(int j) noexcept
{
    return (j & 2) != 0;
}
TALV_INLINE Float4 next_value(int j, Float4 x, Float4 now, Float4 before) noexcept
{
    return (j & 1) != 0 ? vfmsq_f32(before, now, x) : vfmaq_f32(before, now, x);
}
TALV_INLINE FloatLanes next_value(int j, FloatLanes x, FloatLanes now, FloatLanes before) noexcept
{
    return {next_value(j, x.v, now.v, before.v)};
}
#else
inline constexpr int SIGN_TURNS = 1;
constexpr bool sign_turned(int) noexcept
{
    return false;
}
template <typename T>
TALV_INLINE T next_value(int, T x, T now, T before) noexcept
{
    return multiply_subtract(x, now, before);
}
#endif

/* What rounds, ties to even, into the range of 16 bits (-32768.5 goes to -32768, 32767.5 would go to 32768), and what
 * stands for all the rest */
inline constexpr float ROUNDS_TO_16_FROM = -32768.5f;
inline constexpr float ROUNDS_TO_16_BELOW = 32767.5f;
inline constexpr float NOT_IN_16 = -32768.0f;

/* 1.5 * 2^23. Floats from 2^23 on are whole numbers: adding this rounds away the fraction and leaves the whole number,
 * modulo 2^16, in the low half of the sum's pattern. */
inline constexpr float WHOLE_NUMBERS = 12582912.0f;

/** Eight floats to the nearest whole numbers, ties to even; -32768 for what does not fit 16 bits */
TALV_INLINE void store_rounded_16(int16_t *out, Float4 x, Float4 y) noexcept
{
#if defined(__SSE2__) && !defined(TALV_SIMD_PLAIN)
    /* Beyond 32 bits the conversion gives the least number. What is beyond 16 bits stays there when all its bits are
     * turned over, on the lower side, and is then brought to the lower end. */
    const __m128i top = _mm_set1_epi32(INT16_MAX), a = _mm_cvtps_epi32(x), b = _mm_cvtps_epi32(y);
    const __m128i v =
        _mm_packs_epi32(_mm_xor_si128(a, _mm_cmpgt_epi32(a, top)), _mm_xor_si128(b, _mm_cmpgt_epi32(b, top)));
    std::memcpy(out, &v, sizeof v);
#else
    store_low_halves(out, within(x, ROUNDS_TO_16_FROM, ROUNDS_TO_16_BELOW, NOT_IN_16) + WHOLE_NUMBERS,
                     within(y, ROUNDS_TO_16_FROM, ROUNDS_TO_16_BELOW, NOT_IN_16) + WHOLE_NUMBERS);
#endif
}

/** Rows of a 4 by 4 block become its columns */
TALV_INLINE void transpose(Float4 (&block)[4]) noexcept
{
    const Float4 even01 = even_lanes(block[0], block[1]), odd01 = odd_lanes(block[0], block[1]);
    const Float4 even23 = even_lanes(block[2], block[3]), odd23 = odd_lanes(block[2], block[3]);
    block[0] = even_lanes(even01, even23);
    block[1] = even_lanes(odd01, odd23);
    block[2] = odd_lanes(even01, even23);
    block[3] = odd_lanes(odd01, odd23);
}

/** Place of the least of n values, the first one of equals; read up to a multiple of LANES */
TALV_INLINE int place_of_least(const float *x, int n) noexcept
{
    Float4 least = load4(x);
    for (int i = LANES; i < n; i += LANES) {
        least = smaller(load4(x + i), least);
    }
    least = smaller(high_halves(least, least), least);
    least = smaller(odd_lanes(least, least), least);
    least = Float4{least[0], least[0], least[0], least[0]};
    int i = 0;
    int same = equal_lanes(load4(x), least);
    while (same == 0 && i + LANES < n) {
        i += LANES;
        same = equal_lanes(load4(x + i), least);
    }
    return same == 0 ? 0 : i + __builtin_ctz(static_cast<unsigned>(same));
}

} // namespace talv::inline TALV_TARGET

#endif
