/** Four floats at once: how they are loaded and rearranged, and what brings them to doubles and back
 *
 *  What holds for dsp/simd.h holds here too: lane by lane these are the operations of the scalar code.
 */
#ifndef TALV_DSP_SIMD_CONVERT_H
#define TALV_DSP_SIMD_CONVERT_H

#include "dsp/simd.h"

#ifdef TALV_SIMD_PLAIN
#include "dsp/simd_plain_float.h"
#else

namespace talv::inline TALV_TARGET
{

/* Four floats, the width in which values are stored. + - * on them are the float operations lane by lane; [i] is a
 * lane. Where an array holds complex values, a Float4 is two of them: (re, im, re, im). */
using Float4 = float __attribute__((vector_size(16)));
using Int4 = int32_t __attribute__((vector_size(16)));
using Short8 = uint16_t __attribute__((vector_size(16)));

TALV_INLINE Short8 load8(const uint16_t *x) noexcept
{
    Short8 v;
    std::memcpy(&v, x, sizeof v);
    return v;
}

TALV_INLINE void store8(uint16_t *out, Short8 x) noexcept
{
    std::memcpy(out, &x, sizeof x);
}

TALV_INLINE Float4 load4(const float *x) noexcept
{
    Float4 v;
    std::memcpy(&v, x, sizeof v);
    return v;
}
TALV_INLINE void store4(float *out, Float4 x) noexcept
{
    std::memcpy(out, &x, sizeof x);
}

/* Even lanes of x, then those of y; odd lanes likewise */
TALV_INLINE Float4 even_lanes(Float4 x, Float4 y) noexcept
{
    return __builtin_shufflevector(x, y, 0, 2, 4, 6);
}
TALV_INLINE Float4 odd_lanes(Float4 x, Float4 y) noexcept
{
    return __builtin_shufflevector(x, y, 1, 3, 5, 7);
}

/* Lanes of x and y in turn, from their lower and their upper halves; and the halves themselves. On whole numbers, since
 * x86 processors have more room for these moves there. */
TALV_INLINE Float4 interleave_low(Float4 x, Float4 y) noexcept
{
    return reinterpret_cast<Float4>(
        __builtin_shufflevector(reinterpret_cast<Int4>(x), reinterpret_cast<Int4>(y), 0, 4, 1, 5));
}
TALV_INLINE Float4 interleave_high(Float4 x, Float4 y) noexcept
{
    return reinterpret_cast<Float4>(
        __builtin_shufflevector(reinterpret_cast<Int4>(x), reinterpret_cast<Int4>(y), 2, 6, 3, 7));
}
TALV_INLINE Float4 low_halves(Float4 x, Float4 y) noexcept
{
    return reinterpret_cast<Float4>(
        __builtin_shufflevector(reinterpret_cast<Int4>(x), reinterpret_cast<Int4>(y), 0, 1, 4, 5));
}
TALV_INLINE Float4 high_halves(Float4 x, Float4 y) noexcept
{
    return reinterpret_cast<Float4>(
        __builtin_shufflevector(reinterpret_cast<Int4>(x), reinterpret_cast<Int4>(y), 2, 3, 6, 7));
}
TALV_INLINE Float4 reversed(Float4 x) noexcept
{
    return __builtin_shufflevector(x, x, 3, 2, 1, 0);
}

/* The last lane of x and the first three of y */
TALV_INLINE Float4 last_and_three(Float4 x, Float4 y) noexcept
{
    return __builtin_shufflevector(x, y, 3, 4, 5, 6);
}

/* The last two lanes of x and the first two of y */
TALV_INLINE Float4 last_two_and_two(Float4 x, Float4 y) noexcept
{
    return __builtin_shufflevector(x, y, 2, 3, 4, 5);
}

/* Two doubles. In the links of a recursive chain both lanes hold the same value. */
#ifdef TALV_SIMD_AVX2
using Pair64 = wide_t __attribute__((vector_size(16)));
TALV_INLINE Pair64 load_pair(const wide_t *x) noexcept
{
    return _mm_loadu_pd(x);
}
#endif

TALV_INLINE Pair64 twice(wide_t x) noexcept
{
    return Pair64{x, x};
}
TALV_INLINE Pair64 low_twice(Pair64 x) noexcept
{
    return __builtin_shufflevector(x, x, 0, 0);
}
TALV_INLINE Pair64 high_twice(Pair64 x) noexcept
{
    return __builtin_shufflevector(x, x, 1, 1);
}
TALV_INLINE Pair64 low_lanes(Pair64 x, Pair64 y) noexcept
{
    return __builtin_shufflevector(x, y, 0, 2);
}
TALV_INLINE Pair64 high_lanes(Pair64 x, Pair64 y) noexcept
{
    return __builtin_shufflevector(x, y, 1, 3);
}
/* The second of x and the first of y */
TALV_INLINE Pair64 staggered(Pair64 x, Pair64 y) noexcept
{
    return __builtin_shufflevector(x, y, 1, 2);
}
TALV_INLINE Pair64 load_pair_wide(const float *x) noexcept
{
#ifdef __SSE2__ /* which GCC 12 would convert one by one */
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(x))));
#else
    using Pair = float __attribute__((vector_size(8)));
    Pair v;
    std::memcpy(&v, x, sizeof v);
    return __builtin_convertvector(v, Pair64);
#endif
}

/** sum - x y; x and y are floats in value */
TALV_INLINE Pair64 subtract_exact(Pair64 sum, Pair64 x, Pair64 y) noexcept
{
#if defined(TALV_SIMD_AVX2)
    return _mm_fnmadd_pd(x, y, sum);
#elif defined(TALV_SIMD_NEON)
    return vfmsq_f64(sum, x, y);
#else
    return sum - x * y;
#endif
}

TALV_INLINE Pair64 rounded_wide(Pair64 x) noexcept
{
#if defined(__SSE2__)
    return _mm_cvtps_pd(_mm_cvtpd_ps(x));
#elif defined(TALV_SIMD_NEON)
    return rounded_pair(x);
#else
    using Pair = float __attribute__((vector_size(8)));
    return __builtin_convertvector(__builtin_convertvector(x, Pair), Pair64);
#endif
}

/** x rounded to the 24 bits of a float by whole numbers, in a fraction of the time that two conversions take
 *  Adding half a unit to the pattern and cutting off what is below one rounds to nearest, like a conversion, but a
 *  value at equal distance from two floats goes away from 0 instead of to the even one, and what is too large or too
 *  small for a float keeps its exponent.                                                                            */
TALV_INLINE Pair64 round_half_away(Pair64 x) noexcept
{
    using Pattern = uint64_t __attribute__((vector_size(16)));
    constexpr uint64_t UNIT = uint64_t{1} << (52 - 23);
    return reinterpret_cast<Pair64>((reinterpret_cast<Pattern>(x) + UNIT / 2) & ~(UNIT - 1));
}

/* The bits in which x and y differ, added to those found before; any_bit() tells whether there are any */
using PairBits = uint64_t __attribute__((vector_size(16)));
TALV_INLINE Pair64 gather_difference(Pair64 found, Pair64 x, Pair64 y) noexcept
{
    return reinterpret_cast<Pair64>(reinterpret_cast<PairBits>(found) |
                                    (reinterpret_cast<PairBits>(x) ^ reinterpret_cast<PairBits>(y)));
}

#ifdef TALV_SIMD_AVX2

TALV_INLINE Wide4 widened(Float4 x) noexcept
{
    return {_mm256_cvtps_pd(x)};
}
TALV_INLINE Float4 narrowed(Wide4 x) noexcept
{
    return _mm256_cvtpd_ps(x.v);
}
TALV_INLINE Int4 truncated(Wide4 x) noexcept
{
    return reinterpret_cast<Int4>(_mm256_cvttpd_epi32(x.v));
}
TALV_INLINE Wide4 widened(Int4 x) noexcept
{
    return {_mm256_cvtepi32_pd(reinterpret_cast<__m128i>(x))};
}
TALV_INLINE wide_t lane(Wide4 x, int i) noexcept
{
    return x.v[i];
}
TALV_INLINE Pair64 low_half(Wide4 x) noexcept
{
    return _mm256_castpd256_pd128(x.v);
}
TALV_INLINE Pair64 high_half(Wide4 x) noexcept
{
    return _mm256_extractf128_pd(x.v, 1);
}
TALV_INLINE Wide4 halves(Pair64 low, Pair64 high) noexcept
{
    return {_mm256_setr_m128d(low, high)};
}
TALV_INLINE Wide4 gather_difference(Wide4 found, Wide4 x, Wide4 y) noexcept
{
    return {_mm256_or_pd(found.v, _mm256_xor_pd(x.v, y.v))};
}
TALV_INLINE bool any_bit(Wide4 found) noexcept
{
    const __m256i bits = _mm256_castpd_si256(found.v);
    return _mm256_testz_si256(bits, bits) == 0;
}
/* Lanes 1 and 3 of x in turn with lanes 0 and 2 of y */
TALV_INLINE Wide4 staggered(Wide4 x, Wide4 y) noexcept
{
    return {__builtin_shufflevector(x.v, y.v, 1, 4, 3, 6)};
}
TALV_INLINE void transpose(Wide4 (&block)[4]) noexcept
{
    const __m256d low01 = _mm256_unpacklo_pd(block[0].v, block[1].v),
                  high01 = _mm256_unpackhi_pd(block[0].v, block[1].v);
    const __m256d low23 = _mm256_unpacklo_pd(block[2].v, block[3].v),
                  high23 = _mm256_unpackhi_pd(block[2].v, block[3].v);
    block[0].v = _mm256_permute2f128_pd(low01, low23, 0x20);
    block[1].v = _mm256_permute2f128_pd(high01, high23, 0x20);
    block[2].v = _mm256_permute2f128_pd(low01, low23, 0x31);
    block[3].v = _mm256_permute2f128_pd(high01, high23, 0x31);
}

#else

#ifdef __SSE2__
TALV_INLINE Wide4 widened(Float4 x) noexcept
{
    return {_mm_cvtps_pd(x), _mm_cvtps_pd(_mm_movehl_ps(x, x))};
}
TALV_INLINE Float4 narrowed(Wide4 x) noexcept
{
    return _mm_movelh_ps(_mm_cvtpd_ps(x.lo), _mm_cvtpd_ps(x.hi));
}
TALV_INLINE Int4 truncated(Wide4 x) noexcept
{
    return reinterpret_cast<Int4>(_mm_unpacklo_epi64(_mm_cvttpd_epi32(x.lo), _mm_cvttpd_epi32(x.hi)));
}
TALV_INLINE Wide4 widened(Int4 x) noexcept
{
    const __m128i v = reinterpret_cast<__m128i>(x);
    return {_mm_cvtepi32_pd(v), _mm_cvtepi32_pd(_mm_unpackhi_epi64(v, v))};
}
#elif defined(TALV_SIMD_NEON)
TALV_INLINE Wide4 widened(Float4 x) noexcept
{
    return {vcvt_f64_f32(vget_low_f32(x)), vcvt_high_f64_f32(x)};
}
TALV_INLINE Float4 narrowed(Wide4 x) noexcept
{
    return vcvt_high_f32_f64(vcvt_f32_f64(x.lo), x.hi);
}
TALV_INLINE Int4 truncated(Wide4 x) noexcept
{
    return vmovn_high_s64(vmovn_s64(vcvtq_s64_f64(x.lo)), vcvtq_s64_f64(x.hi));
}
TALV_INLINE Wide4 widened(Int4 x) noexcept
{
    return {vcvtq_f64_s64(vmovl_s32(vget_low_s32(x))), vcvtq_f64_s64(vmovl_high_s32(x))};
}
#else
TALV_INLINE Pair32 low_pair(Float4 x) noexcept
{
    return __builtin_shufflevector(x, x, 0, 1);
}
TALV_INLINE Pair32 high_pair(Float4 x) noexcept
{
    return __builtin_shufflevector(x, x, 2, 3);
}
using PairInt32 = int32_t __attribute__((vector_size(8)));
TALV_INLINE Wide4 widened(Float4 x) noexcept
{
    return {__builtin_convertvector(low_pair(x), Pair64), __builtin_convertvector(high_pair(x), Pair64)};
}
TALV_INLINE Float4 narrowed(Wide4 x) noexcept
{
    return __builtin_shufflevector(__builtin_convertvector(x.lo, Pair32), __builtin_convertvector(x.hi, Pair32), 0, 1,
                                   2, 3);
}
TALV_INLINE Int4 truncated(Wide4 x) noexcept
{
    return __builtin_shufflevector(__builtin_convertvector(x.lo, PairInt32), __builtin_convertvector(x.hi, PairInt32),
                                   0, 1, 2, 3);
}
TALV_INLINE Wide4 widened(Int4 x) noexcept
{
    return {__builtin_convertvector(__builtin_shufflevector(x, x, 0, 1), Pair64),
            __builtin_convertvector(__builtin_shufflevector(x, x, 2, 3), Pair64)};
}
#endif
TALV_INLINE wide_t lane(Wide4 x, int i) noexcept
{
    return i < 2 ? x.lo[i] : x.hi[i - 2];
}
TALV_INLINE Pair64 low_half(Wide4 x) noexcept
{
    return x.lo;
}
TALV_INLINE Pair64 high_half(Wide4 x) noexcept
{
    return x.hi;
}
TALV_INLINE Wide4 halves(Pair64 low, Pair64 high) noexcept
{
    return {low, high};
}
TALV_INLINE Wide4 gather_difference(Wide4 found, Wide4 x, Wide4 y) noexcept
{
    return {gather_difference(found.lo, x.lo, y.lo), gather_difference(found.hi, x.hi, y.hi)};
}
TALV_INLINE bool any_bit(Wide4 found) noexcept
{
    const PairBits bits = reinterpret_cast<PairBits>(found.lo) | reinterpret_cast<PairBits>(found.hi);
#ifdef TALV_SIMD_NEON
    return vmaxvq_u32(reinterpret_cast<uint32x4_t>(bits)) != 0;
#else
    return (bits[0] | bits[1]) != 0;
#endif
}
TALV_INLINE Wide4 staggered(Wide4 x, Wide4 y) noexcept
{
    return {__builtin_shufflevector(x.lo, y.lo, 1, 2), __builtin_shufflevector(x.hi, y.hi, 1, 2)};
}
TALV_INLINE void transpose(Wide4 (&block)[4]) noexcept
{
    const Wide4 r0 = block[0], r1 = block[1], r2 = block[2], r3 = block[3];
    block[0] = {__builtin_shufflevector(r0.lo, r1.lo, 0, 2), __builtin_shufflevector(r2.lo, r3.lo, 0, 2)};
    block[1] = {__builtin_shufflevector(r0.lo, r1.lo, 1, 3), __builtin_shufflevector(r2.lo, r3.lo, 1, 3)};
    block[2] = {__builtin_shufflevector(r0.hi, r1.hi, 0, 2), __builtin_shufflevector(r2.hi, r3.hi, 0, 2)};
    block[3] = {__builtin_shufflevector(r0.hi, r1.hi, 1, 3), __builtin_shufflevector(r2.hi, r3.hi, 1, 3)};
}

#endif

} // namespace talv::inline TALV_TARGET

#endif

namespace talv::inline TALV_TARGET
{

/** The whole parts of x >= 0, as far as `mask` has their bits, times PLACE_STEP: as load_wide_at() takes them, in the unit
 *  in which addresses are quickest found. And what x is above its whole parts                                      */
#ifdef TALV_SIMD_NEON
inline constexpr int32_t PLACE_STEP = sizeof(float); /* four floats are loaded from an address plus bytes */
TALV_INLINE Int4 places_of(Wide4 x, int32_t mask) noexcept
{
    constexpr int SHIFT = 2;
    static_assert(1 << SHIFT == PLACE_STEP);
    return Int4(vmovn_high_s64(vmovn_s64(vcvtq_n_s64_f64(x.lo, SHIFT)), vcvtq_n_s64_f64(x.hi, SHIFT))) &
           mask * PLACE_STEP;
}
TALV_INLINE Wide4 fraction_of(Wide4 x) noexcept
{
    return {x.lo - vrndq_f64(x.lo), x.hi - vrndq_f64(x.hi)};
}
TALV_INLINE Wide4 load_wide_at(const float *x, int32_t place) noexcept
{
    Float4 v;
    std::memcpy(&v, reinterpret_cast<const char *>(x) + static_cast<uint32_t>(place), sizeof v);
    return widened(v);
}
#else
inline constexpr int32_t PLACE_STEP = 1;
TALV_INLINE Int4 places_of(Wide4 x, int32_t mask) noexcept
{
    return truncated(x) & mask;
}
TALV_INLINE Wide4 fraction_of(Wide4 x) noexcept
{
    return x - widened(truncated(x));
}
TALV_INLINE Wide4 load_wide_at(const float *x, int32_t place) noexcept
{
    return load_wide(x + static_cast<uint32_t>(place));
}
#endif

} // namespace talv::inline TALV_TARGET

#endif
