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

#if defined(TALV_SIMD_PLAIN)
#include "dsp/simd_plain.h"
#elif defined(TALV_SIMD_AVX2)
#include "dsp/simd_avx2.h"
#else
#include "dsp/simd_pairs.h"
#endif

namespace talv::inline TALV_TARGET
{

/** A factor of all lanes, in the form in which it is quickest */
#ifndef TALV_SIMD_BY_LANE
using Repeated = Wide4;
TALV_INLINE Repeated repeated(wide_t x) noexcept
{
    return broadcast(x);
}
TALV_INLINE Wide4 all_lanes(Repeated x) noexcept
{
    return x;
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
