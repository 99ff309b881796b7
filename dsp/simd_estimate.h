/** As many floats at once as a register holds, for estimates
 *
 *  Searches work on floats first and on doubles only where that leaves a doubt. Results never hang on an estimate, only
 *  on a bound on its error, so that lanes here need not round alike on all machines: add_product() is fused where the
 *  machine can.
 */
#ifndef TALV_DSP_SIMD_ESTIMATE_H
#define TALV_DSP_SIMD_ESTIMATE_H

#include "dsp/simd_float.h"

namespace talv::inline TALV_TARGET
{

#ifdef TALV_SIMD_AVX2

inline constexpr int FLOATS = 8;
struct Floats {
    __m256 v;
};

TALV_INLINE Floats floats(float x) noexcept
{
    return {_mm256_set1_ps(x)};
}
TALV_INLINE Floats load_floats(const float *x) noexcept
{
    return {_mm256_loadu_ps(x)};
}
TALV_INLINE void store(float *out, Floats x) noexcept
{
    _mm256_storeu_ps(out, x.v);
}
TALV_INLINE Floats operator+(Floats x, Floats y) noexcept
{
    return {_mm256_add_ps(x.v, y.v)};
}
TALV_INLINE Floats operator-(Floats x, Floats y) noexcept
{
    return {_mm256_sub_ps(x.v, y.v)};
}
TALV_INLINE Floats operator*(Floats x, Floats y) noexcept
{
    return {_mm256_mul_ps(x.v, y.v)};
}
TALV_INLINE Floats operator/(Floats x, Floats y) noexcept
{
    return {_mm256_div_ps(x.v, y.v)};
}
TALV_INLINE Floats add_product(Floats sum, Floats x, Floats y) noexcept
{
    return {_mm256_fmadd_ps(x.v, y.v, sum.v)};
}
TALV_INLINE Floats larger(Floats x, Floats y) noexcept
{
    return {_mm256_max_ps(x.v, y.v)};
}
/** y where either has no value */
TALV_INLINE Floats smaller(Floats x, Floats y) noexcept
{
    return {_mm256_min_ps(x.v, y.v)};
}
/** Bit i tells whether lane i of x is not below that of y */
TALV_INLINE unsigned not_below(Floats x, Floats y) noexcept
{
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(x.v, y.v, _CMP_GE_OQ)));
}
/** x where x is above 0, else `other` */
TALV_INLINE Floats positive_or(Floats x, Floats other) noexcept
{
    return {_mm256_blendv_ps(other.v, x.v, _mm256_cmp_ps(x.v, _mm256_setzero_ps(), _CMP_GT_OQ))};
}
/** x where x is above a limit, else `other` */
TALV_INLINE Floats above_or(Floats x, Floats limit, Floats other) noexcept
{
    return {_mm256_blendv_ps(other.v, x.v, _mm256_cmp_ps(x.v, limit.v, _CMP_GT_OQ))};
}
TALV_INLINE float smallest_lane(Floats x) noexcept
{
    __m128 m = _mm_min_ps(_mm256_castps256_ps128(x.v), _mm256_extractf128_ps(x.v, 1));
    m = _mm_min_ps(m, _mm_movehl_ps(m, m));
    return _mm_cvtss_f32(_mm_min_ss(m, _mm_movehdup_ps(m)));
}
TALV_INLINE float largest_lane(Floats x) noexcept
{
    __m128 m = _mm_max_ps(_mm256_castps256_ps128(x.v), _mm256_extractf128_ps(x.v, 1));
    m = _mm_max_ps(m, _mm_movehl_ps(m, m));
    return _mm_cvtss_f32(_mm_max_ss(m, _mm_movehdup_ps(m)));
}
TALV_INLINE float sum_of_lanes(Floats x) noexcept
{
    __m128 m = _mm_add_ps(_mm256_castps256_ps128(x.v), _mm256_extractf128_ps(x.v, 1));
    m = _mm_add_ps(m, _mm_movehl_ps(m, m));
    return _mm_cvtss_f32(_mm_add_ss(m, _mm_movehdup_ps(m)));
}

/** Floats of two Float4, the first in the lower lanes
 *  x    I  [2 count]
 *  out  O  [count]                                                                                                   */
template <int fours, int count>
TALV_INLINE void join(const Float4 (&x)[fours], Floats (&out)[count]) noexcept
{
    static_assert(fours == 2 * count);
    TALV_UNROLL
    for (int g = 0; g < count; g++)
        out[g] = {_mm256_set_m128(x[2 * g + 1], x[2 * g])};
}

#else

inline constexpr int FLOATS = 4;
struct Floats {
    Float4 v;
};

TALV_INLINE Floats floats(float x) noexcept
{
    return {Float4{x, x, x, x}};
}
TALV_INLINE Floats load_floats(const float *x) noexcept
{
    return {load4(x)};
}
TALV_INLINE void store(float *out, Floats x) noexcept
{
    store4(out, x.v);
}
TALV_INLINE Floats operator+(Floats x, Floats y) noexcept
{
    return {x.v + y.v};
}
TALV_INLINE Floats operator-(Floats x, Floats y) noexcept
{
    return {x.v - y.v};
}
TALV_INLINE Floats operator*(Floats x, Floats y) noexcept
{
    return {x.v * y.v};
}
TALV_INLINE Floats operator/(Floats x, Floats y) noexcept
{
#ifdef TALV_SIMD_PLAIN
    return {Float4{x.v[0] / y.v[0], x.v[1] / y.v[1], x.v[2] / y.v[2], x.v[3] / y.v[3]}};
#else
    return {x.v / y.v};
#endif
}
TALV_INLINE Floats add_product(Floats sum, Floats x, Floats y) noexcept
{
#ifdef TALV_SIMD_NEON
    return {vfmaq_f32(sum.v, x.v, y.v)};
#else
    return {sum.v + x.v * y.v};
#endif
}
TALV_INLINE Floats larger(Floats x, Floats y) noexcept
{
#if defined(__SSE2__) && !defined(TALV_SIMD_PLAIN)
    return {_mm_max_ps(x.v, y.v)};
#elif defined(TALV_SIMD_NEON)
    return {vmaxq_f32(x.v, y.v)};
#else
    const auto of = [&](int i) { return x.v[i] > y.v[i] ? x.v[i] : y.v[i]; };
    return {Float4{of(0), of(1), of(2), of(3)}};
#endif
}
TALV_INLINE Floats smaller(Floats x, Floats y) noexcept
{
    return {smaller(x.v, y.v)};
}
TALV_INLINE unsigned not_below(Floats x, Floats y) noexcept
{
    return not_below(x.v, y.v);
}
TALV_INLINE Floats positive_or(Floats x, Floats other) noexcept
{
#if defined(__SSE2__) && !defined(TALV_SIMD_PLAIN)
    const __m128 test = _mm_cmpgt_ps(x.v, _mm_setzero_ps());
    return {_mm_or_ps(_mm_and_ps(test, x.v), _mm_andnot_ps(test, other.v))};
#elif defined(TALV_SIMD_NEON)
    return {vbslq_f32(vcgtzq_f32(x.v), x.v, other.v)};
#else
    const auto of = [&](int i) { return x.v[i] > 0.0f ? x.v[i] : other.v[i]; };
    return {Float4{of(0), of(1), of(2), of(3)}};
#endif
}
TALV_INLINE Floats above_or(Floats x, Floats limit, Floats other) noexcept
{
#if defined(__SSE2__) && !defined(TALV_SIMD_PLAIN)
    const __m128 test = _mm_cmpgt_ps(x.v, limit.v);
    return {_mm_or_ps(_mm_and_ps(test, x.v), _mm_andnot_ps(test, other.v))};
#elif defined(TALV_SIMD_NEON)
    return {vbslq_f32(vcgtq_f32(x.v, limit.v), x.v, other.v)};
#else
    const auto of = [&](int i) { return x.v[i] > limit.v[i] ? x.v[i] : other.v[i]; };
    return {Float4{of(0), of(1), of(2), of(3)}};
#endif
}
TALV_INLINE float smallest_lane(Floats x) noexcept
{
#ifdef TALV_SIMD_NEON
    return vminvq_f32(x.v);
#else
    const float a = x.v[0] < x.v[2] ? x.v[0] : x.v[2], b = x.v[1] < x.v[3] ? x.v[1] : x.v[3];
    return a < b ? a : b;
#endif
}
TALV_INLINE float largest_lane(Floats x) noexcept
{
#ifdef TALV_SIMD_NEON
    return vmaxvq_f32(x.v);
#else
    const float a = x.v[0] > x.v[2] ? x.v[0] : x.v[2], b = x.v[1] > x.v[3] ? x.v[1] : x.v[3];
    return a > b ? a : b;
#endif
}
TALV_INLINE float sum_of_lanes(Floats x) noexcept
{
    return (x.v[0] + x.v[2]) + (x.v[1] + x.v[3]);
}

template <int count>
TALV_INLINE void join(const Float4 (&x)[count], Floats (&out)[count]) noexcept
{
    TALV_UNROLL
    for (int g = 0; g < count; g++)
        out[g] = {x[g]};
}

#endif

} // namespace talv::inline TALV_TARGET

#endif
