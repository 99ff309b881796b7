/** The types of dsp/simd.h in 256-bit registers with fused operations
 *
 *  Included by that header alone. What an operation does that does not explain itself, dsp/simd_pairs.h tells.
 */
#ifndef TALV_DSP_SIMD_AVX2_H
#define TALV_DSP_SIMD_AVX2_H

#include "dsp/wide.h"

#include <cstdint>
#include <cstring>
#include <immintrin.h>

namespace talv::inline TALV_TARGET
{

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

} // namespace talv::inline TALV_TARGET

#endif
