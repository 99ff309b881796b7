/** Four doubles at once
 *
 *  The codec's sums run in double and their order is fixed, so nothing inside one sum may be split; but neighbouring
 *  sums (lags, samples, rows, harmonics) are independent, and four of them run side by side in a Wide4, lane by lane
 *  the very operations of the scalar code. The headers simd*.h alone know instruction sets: 256-bit registers with fused
 *  operations where the target has them (AVX2 with FMA), pairs of 128-bit vectors elsewhere (SSE2; NEON of 64-bit Arm,
 *  fused as well), which compilers for other processors make plain registers of where there are no vectors.
 *
 *  add_exact() (sum + x y), subtract_exact() (sum - x y) and exact_minus() (x y - z) fuse the multiplication with the
 *  addition where the machine can. They take factors that are floats in value, whose product is exact in double, so
 *  that fusing changes no result.
 */
#ifndef TALV_DSP_SIMD_H
#define TALV_DSP_SIMD_H

#include "dsp/target.h"
#include "dsp/wide.h"

#include <cmath>
#include <cstdint>
#include <cstring>

/* Processors without vector registers, and the width that the vectors below are not made for */
#if defined(TALV_FLOAT_ONLY) || (defined(__ARM_ARCH_PROFILE) && __ARM_ARCH_PROFILE == 'M')
#define TALV_SIMD_PLAIN 1
#elif defined(__AVX2__) && defined(__FMA__)
#include <immintrin.h>
#define TALV_SIMD_AVX2 1
#elif defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#include <arm_neon.h>
#define TALV_SIMD_NEON 1
#endif

/* Routines of a block that are to be part of their caller; small machines built for size leave it to the compiler. */
#if defined(TALV_SIMD_PLAIN) && defined(__OPTIMIZE_SIZE__)
#define TALV_INLINE inline
#else
#define TALV_INLINE inline __attribute__((always_inline))
#endif

/* In front of a short loop over registers whose length is a constant: without it the optimiser may leave the array of
 * registers in memory. A build for size (-Os) leaves it there. */
#ifdef __OPTIMIZE_SIZE__
#define TALV_UNROLL
#else
#define TALV_UNROLL _Pragma("GCC unroll 16")
#endif

/* In front of a loop that is seldom run and short enough to be written out at -O3 */
#define TALV_NO_UNROLL _Pragma("GCC unroll 1")

/* In front of a short loop over doubles in groups of four: where there is no register for each of some ten of these,
 * writing the loop out makes more code than time that it saves */
#if defined(TALV_SIMD_AVX2) || defined(TALV_SIMD_NEON)
#define TALV_UNROLL_WIDE TALV_UNROLL
#else
#define TALV_UNROLL_WIDE TALV_NO_UNROLL
#endif

/* In front of a long loop that pays to be run some turns at a time: four where a turn is a handful of wide operations,
 * two where it is twice as long, as more would make code and next to nothing quicker */
#ifdef TALV_SIMD_AVX2
#define TALV_UNROLL_SOME _Pragma("GCC unroll 4")
#elif defined(__OPTIMIZE_SIZE__)
#define TALV_UNROLL_SOME
#else
#define TALV_UNROLL_SOME _Pragma("GCC unroll 2")
#endif

namespace talv::inline TALV_TARGET
{

inline constexpr int LANES = 4;
inline constexpr int ALL_LANES = 15; /* what equal_lanes() says of equal values */
/* How many Wide4 can be summed up in registers by a loop that is written out, beside what it loads ahead */
#if defined(TALV_SIMD_AVX2)
inline constexpr int SUMS_IN_REGISTERS = 8;
#elif defined(TALV_SIMD_NEON)
inline constexpr int SUMS_IN_REGISTERS = 4;
#else
inline constexpr int SUMS_IN_REGISTERS = 0;
#endif
#ifdef TALV_SIMD_PLAIN /* where work side by side takes as long as one after the other */
inline constexpr bool LANES_RUN_TOGETHER = false;
#else
inline constexpr bool LANES_RUN_TOGETHER = true;
#endif

TALV_INLINE wide_t add_exact(wide_t sum, wide_t x, wide_t y) noexcept
{
#ifdef TALV_FLOAT_ONLY
    return __builtin_fmaf(x, y, sum);
#elif defined(__FMA__)
    return __builtin_fma(x, y, sum);
#else
    return sum + x * y;
#endif
}

TALV_INLINE wide_t subtract_exact(wide_t sum, wide_t x, wide_t y) noexcept
{
#ifdef TALV_FLOAT_ONLY
    return __builtin_fmaf(-x, y, sum);
#elif defined(__FMA__)
    return __builtin_fma(-x, y, sum);
#else
    return sum - x * y;
#endif
}

} // namespace talv::inline TALV_TARGET

#ifdef TALV_SIMD_PLAIN
#include "dsp/simd_plain.h"
#endif

namespace talv::inline TALV_TARGET
{

#ifdef TALV_SIMD_AVX2

struct Wide4 {
    __m256d v;
};

TALV_INLINE Wide4 broadcast(wide_t x) noexcept
{
    return {_mm256_set1_pd(x)};
}
TALV_INLINE Wide4 make_wide4(wide_t a, wide_t b, wide_t c, wide_t d) noexcept
{
    return {_mm256_setr_pd(a, b, c, d)};
}
TALV_INLINE Wide4 load(const wide_t *x) noexcept
{
    return {_mm256_loadu_pd(x)};
}
TALV_INLINE Wide4 load_wide(const float *x) noexcept
{
    return {_mm256_cvtps_pd(_mm_loadu_ps(x))};
}
TALV_INLINE Wide4 load_wide_reversed(const float *x) noexcept
{
    const __m128 v = _mm_loadu_ps(x);
    return {_mm256_cvtps_pd(_mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)))};
}
TALV_INLINE void store(wide_t *out, Wide4 x) noexcept
{
    _mm256_storeu_pd(out, x.v);
}
TALV_INLINE void store_rounded(float *out, Wide4 x) noexcept
{
    _mm_storeu_ps(out, _mm256_cvtpd_ps(x.v));
}
TALV_INLINE void store_rounded_reversed(float *out, Wide4 x) noexcept
{
    const __m128 v = _mm256_cvtpd_ps(x.v);
    _mm_storeu_ps(out, _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)));
}
TALV_INLINE Wide4 rounded_wide(Wide4 x) noexcept
{
    return {_mm256_cvtps_pd(_mm256_cvtpd_ps(x.v))};
}
TALV_INLINE Wide4 operator+(Wide4 x, Wide4 y) noexcept
{
    return {_mm256_add_pd(x.v, y.v)};
}
TALV_INLINE Wide4 operator-(Wide4 x, Wide4 y) noexcept
{
    return {_mm256_sub_pd(x.v, y.v)};
}
TALV_INLINE Wide4 operator*(Wide4 x, Wide4 y) noexcept
{
    return {_mm256_mul_pd(x.v, y.v)};
}
TALV_INLINE Wide4 operator/(Wide4 x, Wide4 y) noexcept
{
    return {_mm256_div_pd(x.v, y.v)};
}
TALV_INLINE Wide4 add_exact(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return {_mm256_fmadd_pd(x.v, y.v, sum.v)};
}
TALV_INLINE Wide4 subtract_exact(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return {_mm256_fnmadd_pd(x.v, y.v, sum.v)};
}
TALV_INLINE Wide4 exact_minus(Wide4 x, Wide4 y, Wide4 z) noexcept
{
    return {_mm256_fmsub_pd(x.v, y.v, z.v)};
}
TALV_INLINE Wide4 multiply_add_nearly(Wide4 x, Wide4 y, Wide4 z) noexcept
{
    return {_mm256_fmadd_pd(x.v, y.v, z.v)};
}
TALV_INLINE int lanes_above(Wide4 x, Wide4 limit) noexcept
{
    return _mm256_movemask_pd(_mm256_cmp_pd(x.v, limit.v, _CMP_GT_OQ));
}
TALV_INLINE Wide4 larger(Wide4 x, Wide4 y) noexcept
{
    return {_mm256_max_pd(x.v, y.v)};
}
TALV_INLINE Wide4 choose(Wide4 test, Wide4 x, Wide4 other) noexcept
{
    return {_mm256_blendv_pd(other.v, x.v, _mm256_cmp_pd(test.v, _mm256_setzero_pd(), _CMP_GT_OQ))};
}
TALV_INLINE Wide4 square_root(Wide4 x) noexcept
{
    return {_mm256_sqrt_pd(x.v)};
}
TALV_INLINE wide_t sum_of_lanes(Wide4 x) noexcept
{
    const __m128d two = _mm_add_pd(_mm256_castpd256_pd128(x.v), _mm256_extractf128_pd(x.v, 1));
    return _mm_cvtsd_f64(_mm_add_sd(two, _mm_unpackhi_pd(two, two)));
}
TALV_INLINE int equal_lanes(Wide4 x, Wide4 y) noexcept
{
    return _mm256_movemask_pd(_mm256_cmp_pd(x.v, y.v, _CMP_EQ_OQ));
}
TALV_INLINE wide_t largest_lane(Wide4 x) noexcept
{
    const __m128d two = _mm_max_pd(_mm256_castpd256_pd128(x.v), _mm256_extractf128_pd(x.v, 1));
    return _mm_cvtsd_f64(_mm_max_sd(two, _mm_unpackhi_pd(two, two)));
}

TALV_INLINE void max_of_8(const int32_t *x, const int32_t *y, int32_t *out) noexcept
{
    __m256i a, b;
    std::memcpy(&a, x, sizeof a);
    std::memcpy(&b, y, sizeof b);
    const __m256i larger = _mm256_max_epi32(a, b);
    std::memcpy(out, &larger, sizeof larger);
}

#elif !defined(TALV_SIMD_PLAIN)

using Pair64 = wide_t __attribute__((vector_size(16)));
using Pair32 = float __attribute__((vector_size(8)));

struct Wide4 {
    Pair64 lo, hi;
};

TALV_INLINE Pair64 load_pair(const wide_t *x) noexcept
{
    Pair64 v;
    std::memcpy(&v, x, sizeof v);
    return v;
}

/* Conversions of two values at once, which the compiler would make of two single ones */
#ifdef __SSE2__
TALV_INLINE Pair64 widen_pair(const float *x) noexcept
{
    double both;
    std::memcpy(&both, x, sizeof both);
    return _mm_cvtps_pd(_mm_castpd_ps(_mm_set_sd(both)));
}
TALV_INLINE Pair64 rounded_pair(Pair64 x) noexcept
{
    return _mm_cvtps_pd(_mm_cvtpd_ps(x));
}
TALV_INLINE void store_rounded(float *out, Wide4 x) noexcept
{
    const __m128 all = _mm_movelh_ps(_mm_cvtpd_ps(x.lo), _mm_cvtpd_ps(x.hi));
    std::memcpy(out, &all, sizeof all);
}
#elif defined(TALV_SIMD_NEON)
TALV_INLINE Pair64 widen_pair(const float *x) noexcept
{
    return vcvt_f64_f32(vld1_f32(x));
}
TALV_INLINE Pair64 rounded_pair(Pair64 x) noexcept
{
    return vcvt_f64_f32(vcvt_f32_f64(x));
}
TALV_INLINE void store_rounded(float *out, Wide4 x) noexcept
{
    vst1q_f32(out, vcvt_high_f32_f64(vcvt_f32_f64(x.lo), x.hi));
}
#else
TALV_INLINE Pair64 widen_pair(const float *x) noexcept
{
    Pair32 v;
    std::memcpy(&v, x, sizeof v);
    return __builtin_convertvector(v, Pair64);
}
TALV_INLINE Pair64 rounded_pair(Pair64 x) noexcept
{
    return __builtin_convertvector(__builtin_convertvector(x, Pair32), Pair64);
}
TALV_INLINE void store_rounded(float *out, Wide4 x) noexcept
{
    const Pair32 lo = __builtin_convertvector(x.lo, Pair32);
    const Pair32 hi = __builtin_convertvector(x.hi, Pair32);
    std::memcpy(out, &lo, sizeof lo);
    std::memcpy(out + 2, &hi, sizeof hi);
}
#endif

TALV_INLINE Wide4 broadcast(wide_t x) noexcept
{
    return {Pair64{x, x}, Pair64{x, x}};
}
TALV_INLINE Wide4 make_wide4(wide_t a, wide_t b, wide_t c, wide_t d) noexcept
{
    return {Pair64{a, b}, Pair64{c, d}};
}
TALV_INLINE Wide4 load(const wide_t *x) noexcept
{
    return {load_pair(x), load_pair(x + 2)};
}
TALV_INLINE Wide4 load_wide(const float *x) noexcept
{
#ifdef TALV_SIMD_NEON
    const float32x4_t v = vld1q_f32(x);
    return {vcvt_f64_f32(vget_low_f32(v)), vcvt_high_f64_f32(v)};
#else
    return {widen_pair(x), widen_pair(x + 2)};
#endif
}
#ifdef TALV_SIMD_NEON
TALV_INLINE Wide4 load_wide_reversed(const float *x) noexcept
{
    const float32x4_t v = vrev64q_f32(vld1q_f32(x));
    return {vcvt_high_f64_f32(v), vcvt_f64_f32(vget_low_f32(v))};
}
TALV_INLINE void store_rounded_reversed(float *out, Wide4 x) noexcept
{
    vst1q_f32(out, vrev64q_f32(vcvt_high_f32_f64(vcvt_f32_f64(x.hi), x.lo)));
}
#else
TALV_INLINE Wide4 load_wide_reversed(const float *x) noexcept
{
    const Pair64 lo = widen_pair(x), hi = widen_pair(x + 2);
    return {Pair64{hi[1], hi[0]}, Pair64{lo[1], lo[0]}};
}
TALV_INLINE void store_rounded_reversed(float *out, Wide4 x) noexcept
{
    store_rounded(out, {Pair64{x.hi[1], x.hi[0]}, Pair64{x.lo[1], x.lo[0]}});
}
#endif
TALV_INLINE void store(wide_t *out, Wide4 x) noexcept
{
    std::memcpy(out, &x.lo, sizeof x.lo);
    std::memcpy(out + 2, &x.hi, sizeof x.hi);
}
TALV_INLINE Wide4 rounded_wide(Wide4 x) noexcept
{
    return {rounded_pair(x.lo), rounded_pair(x.hi)};
}
TALV_INLINE Wide4 operator+(Wide4 x, Wide4 y) noexcept
{
    return {x.lo + y.lo, x.hi + y.hi};
}
TALV_INLINE Wide4 operator-(Wide4 x, Wide4 y) noexcept
{
    return {x.lo - y.lo, x.hi - y.hi};
}
TALV_INLINE Wide4 operator*(Wide4 x, Wide4 y) noexcept
{
    return {x.lo * y.lo, x.hi * y.hi};
}
TALV_INLINE Wide4 operator/(Wide4 x, Wide4 y) noexcept
{
    return {x.lo / y.lo, x.hi / y.hi};
}
#ifdef TALV_SIMD_NEON
TALV_INLINE Wide4 add_exact(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return {vfmaq_f64(sum.lo, x.lo, y.lo), vfmaq_f64(sum.hi, x.hi, y.hi)};
}
TALV_INLINE Wide4 subtract_exact(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return {vfmsq_f64(sum.lo, x.lo, y.lo), vfmsq_f64(sum.hi, x.hi, y.hi)};
}
TALV_INLINE Wide4 exact_minus(Wide4 x, Wide4 y, Wide4 z) noexcept
{
    return add_exact({vnegq_f64(z.lo), vnegq_f64(z.hi)}, x, y);
}
#else
TALV_INLINE Wide4 add_exact(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return sum + x * y;
}
TALV_INLINE Wide4 subtract_exact(Wide4 sum, Wide4 x, Wide4 y) noexcept
{
    return sum - x * y;
}
TALV_INLINE Wide4 exact_minus(Wide4 x, Wide4 y, Wide4 z) noexcept
{
    return x * y - z;
}
#endif
/** x y + z, rounded once or twice: not for results, but for what is known to be near enough to them */
TALV_INLINE Wide4 multiply_add_nearly(Wide4 x, Wide4 y, Wide4 z) noexcept
{
    return add_exact(z, x, y);
}
#ifdef __SSE2__

TALV_INLINE int lanes_above(Wide4 x, Wide4 limit) noexcept
{
    return _mm_movemask_pd(_mm_cmpgt_pd(x.lo, limit.lo)) | _mm_movemask_pd(_mm_cmpgt_pd(x.hi, limit.hi)) << 2;
}
TALV_INLINE int equal_lanes(Wide4 x, Wide4 y) noexcept
{
    return _mm_movemask_pd(_mm_cmpeq_pd(x.lo, y.lo)) | _mm_movemask_pd(_mm_cmpeq_pd(x.hi, y.hi)) << 2;
}
TALV_INLINE Wide4 larger(Wide4 x, Wide4 y) noexcept
{
    return {_mm_max_pd(x.lo, y.lo), _mm_max_pd(x.hi, y.hi)};
}
TALV_INLINE Wide4 square_root(Wide4 x) noexcept
{
    return {_mm_sqrt_pd(x.lo), _mm_sqrt_pd(x.hi)};
}

#elif defined(TALV_SIMD_NEON)

/** A bit for each lane that is all ones */
TALV_INLINE unsigned lane_bits(uint32x4_t x) noexcept
{
    constexpr uint32_t PLACE[] = {1, 2, 4, 8};
    return vaddvq_u32(vandq_u32(x, vld1q_u32(PLACE)));
}
TALV_INLINE int lane_bits(uint64x2_t lo, uint64x2_t hi) noexcept
{
    return static_cast<int>(lane_bits(vcombine_u32(vmovn_u64(lo), vmovn_u64(hi))));
}
TALV_INLINE int lanes_above(Wide4 x, Wide4 limit) noexcept
{
    return lane_bits(vcgtq_f64(x.lo, limit.lo), vcgtq_f64(x.hi, limit.hi));
}
TALV_INLINE int equal_lanes(Wide4 x, Wide4 y) noexcept
{
    return lane_bits(vceqq_f64(x.lo, y.lo), vceqq_f64(x.hi, y.hi));
}
TALV_INLINE Wide4 larger(Wide4 x, Wide4 y) noexcept
{
    return {vbslq_f64(vcgtq_f64(x.lo, y.lo), x.lo, y.lo), vbslq_f64(vcgtq_f64(x.hi, y.hi), x.hi, y.hi)};
}
TALV_INLINE Wide4 square_root(Wide4 x) noexcept
{
    return {vsqrtq_f64(x.lo), vsqrtq_f64(x.hi)};
}

#else

/** Bit i tells whether lane i is above that of `limit`, and whether lanes i are equal */
TALV_INLINE int lanes_above(Wide4 x, Wide4 limit) noexcept
{
    return (x.lo[0] > limit.lo[0] ? 1 : 0) | (x.lo[1] > limit.lo[1] ? 2 : 0) | (x.hi[0] > limit.hi[0] ? 4 : 0) |
           (x.hi[1] > limit.hi[1] ? 8 : 0);
}
TALV_INLINE int equal_lanes(Wide4 x, Wide4 y) noexcept
{
    return (x.lo[0] == y.lo[0] ? 1 : 0) | (x.lo[1] == y.lo[1] ? 2 : 0) | (x.hi[0] == y.hi[0] ? 4 : 0) |
           (x.hi[1] == y.hi[1] ? 8 : 0);
}
/** The larger of two, lane by lane; no lane may be without a value */
TALV_INLINE Wide4 larger(Wide4 x, Wide4 y) noexcept
{
    return {x.lo > y.lo ? x.lo : y.lo, x.hi > y.hi ? x.hi : y.hi};
}
TALV_INLINE Wide4 square_root(Wide4 x) noexcept
{
    return {Pair64{std::sqrt(x.lo[0]), std::sqrt(x.lo[1])}, Pair64{std::sqrt(x.hi[0]), std::sqrt(x.hi[1])}};
}

#endif

/** x where `test` is above 0, else `other` */
TALV_INLINE Wide4 choose(Wide4 test, Wide4 x, Wide4 other) noexcept
{
    return {test.lo > 0.0 ? x.lo : other.lo, test.hi > 0.0 ? x.hi : other.hi};
}
/** (lane 0 + lane 2) + (lane 1 + lane 3) */
TALV_INLINE wide_t sum_of_lanes(Wide4 x) noexcept
{
    const Pair64 two = x.lo + x.hi;
    return two[0] + two[1];
}
TALV_INLINE wide_t largest_lane(Wide4 x) noexcept
{
    const Pair64 two = x.lo > x.hi ? x.lo : x.hi;
    return two[0] > two[1] ? two[0] : two[1];
}

using Quad32 = int32_t __attribute__((vector_size(16)));

/** out[i] = max(x[i], y[i]), i < 8; out may be x */
TALV_INLINE void max_of_8(const int32_t *x, const int32_t *y, int32_t *out) noexcept
{
    Quad32 a[2], b[2];
    std::memcpy(a, x, sizeof a);
    std::memcpy(b, y, sizeof b);
    for (int half = 0; half < 2; half++)
#ifdef TALV_SIMD_NEON
        a[half] = vmaxq_s32(a[half], b[half]);
#else
        a[half] = a[half] > b[half] ? a[half] : b[half];
#endif
    std::memcpy(out, a, sizeof a);
}

#endif

TALV_INLINE Wide4 magnitude(Wide4 x) noexcept
{
    return larger(x, broadcast(wide(0)) - x);
}

/** Four floats `stride` apart, as doubles */
TALV_INLINE Wide4 load_strided(const float *x, int stride) noexcept
{
    return make_wide4(wide(x[0]), wide(x[stride]), wide(x[2 * stride]), wide(x[3 * stride]));
}

} // namespace talv::inline TALV_TARGET

#endif
