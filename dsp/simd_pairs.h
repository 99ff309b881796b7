/** The types of dsp/simd.h in pairs of 128-bit vectors: SSE2, NEON of 64-bit Arm with its fused operations, or what the
 *  compiler makes of vectors of its own
 *
 *  Included by that header alone.
 */
#ifndef TALV_DSP_SIMD_PAIRS_H
#define TALV_DSP_SIMD_PAIRS_H

#include "dsp/wide.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace talv::inline TALV_TARGET
{

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
    /* x is often the same throughout a loop. Last, it is not the one that the compiler negates beforehand. */
    return {vfmsq_f64(sum.lo, y.lo, x.lo), vfmsq_f64(sum.hi, y.hi, x.hi)};
}
TALV_INLINE Wide4 exact_minus(Wide4 x, Wide4 y, Wide4 z) noexcept
{
    return add_exact({vnegq_f64(z.lo), vnegq_f64(z.hi)}, x, y);
}
#define TALV_SIMD_BY_LANE 1
/* Operations on vectors take a factor from a lane of another. */
using Repeated = wide_t;
TALV_INLINE Repeated repeated(wide_t x) noexcept
{
    return x;
}
TALV_INLINE Wide4 all_lanes(Repeated x) noexcept
{
    return broadcast(x);
}
TALV_INLINE Wide4 add_exact(Wide4 sum, Repeated x, Wide4 y) noexcept
{
    return {vfmaq_n_f64(sum.lo, y.lo, x), vfmaq_n_f64(sum.hi, y.hi, x)};
}
TALV_INLINE Wide4 subtract_exact(Wide4 sum, Repeated x, Wide4 y) noexcept
{
    return {vfmsq_n_f64(sum.lo, y.lo, x), vfmsq_n_f64(sum.hi, y.hi, x)};
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

} // namespace talv::inline TALV_TARGET

#endif
