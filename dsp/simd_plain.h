/** The types of dsp/simd.h for processors without vector registers: lanes that are values of their own, which the
 *  compiler may keep in scalar registers
 *
 *  Included by that header alone; dsp/simd_plain_float.h has the rest. Lane by lane these are the same operations, so
 *  the results are the same bits; but where wide_t is float, a fused operation rounds once, in every such build, whether
 *  hardware or the C library carries it out.
 */
#ifndef TALV_DSP_SIMD_PLAIN_H
#define TALV_DSP_SIMD_PLAIN_H

#include "dsp/wide.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace talv::inline TALV_TARGET
{

#define TALV_LANES inline __attribute__((always_inline))
/* Where double is arithmetic by the C library, every operation on lanes is four calls: a build for size makes them in
 * one place. */
#if defined(__OPTIMIZE_SIZE__) && !defined(TALV_FLOAT_ONLY) && defined(__ARM_FP) && !(__ARM_FP & 8)
#define TALV_LANES4 inline __attribute__((noinline))
#else
#define TALV_LANES4 TALV_LANES
#endif

struct Wide4 {
    wide_t v[4];
};

TALV_LANES Wide4 broadcast(wide_t x) noexcept
{
    return {{x, x, x, x}};
}
TALV_LANES Wide4 make_wide4(wide_t a, wide_t b, wide_t c, wide_t d) noexcept
{
    return {{a, b, c, d}};
}
TALV_LANES Wide4 load(const wide_t *x) noexcept
{
    return {{x[0], x[1], x[2], x[3]}};
}
TALV_LANES4 Wide4 load_wide(const float *x) noexcept
{
    return {{wide(x[0]), wide(x[1]), wide(x[2]), wide(x[3])}};
}
TALV_LANES4 Wide4 operator+(const Wide4 &x, const Wide4 &y) noexcept
{
    return {{x.v[0] + y.v[0], x.v[1] + y.v[1], x.v[2] + y.v[2], x.v[3] + y.v[3]}};
}
TALV_LANES4 Wide4 operator-(const Wide4 &x, const Wide4 &y) noexcept
{
    return {{x.v[0] - y.v[0], x.v[1] - y.v[1], x.v[2] - y.v[2], x.v[3] - y.v[3]}};
}
TALV_LANES4 Wide4 operator*(const Wide4 &x, const Wide4 &y) noexcept
{
    return {{x.v[0] * y.v[0], x.v[1] * y.v[1], x.v[2] * y.v[2], x.v[3] * y.v[3]}};
}
TALV_LANES4 Wide4 operator/(const Wide4 &x, const Wide4 &y) noexcept
{
    return {{x.v[0] / y.v[0], x.v[1] / y.v[1], x.v[2] / y.v[2], x.v[3] / y.v[3]}};
}
TALV_LANES4 Wide4 add_exact(const Wide4 &sum, const Wide4 &x, const Wide4 &y) noexcept
{
    return {{add_exact(sum.v[0], x.v[0], y.v[0]), add_exact(sum.v[1], x.v[1], y.v[1]),
             add_exact(sum.v[2], x.v[2], y.v[2]), add_exact(sum.v[3], x.v[3], y.v[3])}};
}
TALV_LANES4 Wide4 subtract_exact(const Wide4 &sum, const Wide4 &x, const Wide4 &y) noexcept
{
    return {{subtract_exact(sum.v[0], x.v[0], y.v[0]), subtract_exact(sum.v[1], x.v[1], y.v[1]),
             subtract_exact(sum.v[2], x.v[2], y.v[2]), subtract_exact(sum.v[3], x.v[3], y.v[3])}};
}
TALV_LANES4 Wide4 multiply_add_nearly(const Wide4 &x, const Wide4 &y, const Wide4 &z) noexcept
{
    return x * y + z;
}
TALV_LANES4 Wide4 exact_minus(const Wide4 &x, const Wide4 &y, const Wide4 &z) noexcept
{
    return {{add_exact(-z.v[0], x.v[0], y.v[0]), add_exact(-z.v[1], x.v[1], y.v[1]), add_exact(-z.v[2], x.v[2], y.v[2]),
             add_exact(-z.v[3], x.v[3], y.v[3])}};
}
TALV_LANES Wide4 load_wide_reversed(const float *x) noexcept
{
    return {{wide(x[3]), wide(x[2]), wide(x[1]), wide(x[0])}};
}
TALV_LANES wide_t larger(wide_t x, wide_t y) noexcept
{
    return x > y ? x : y;
}
TALV_LANES4 Wide4 larger(const Wide4 &x, const Wide4 &y) noexcept
{
    return {{larger(x.v[0], y.v[0]), larger(x.v[1], y.v[1]), larger(x.v[2], y.v[2]), larger(x.v[3], y.v[3])}};
}
TALV_LANES4 Wide4 choose(const Wide4 &test, const Wide4 &x, const Wide4 &other) noexcept
{
    return {{test.v[0] > 0 ? x.v[0] : other.v[0], test.v[1] > 0 ? x.v[1] : other.v[1],
             test.v[2] > 0 ? x.v[2] : other.v[2], test.v[3] > 0 ? x.v[3] : other.v[3]}};
}
TALV_LANES4 Wide4 square_root(const Wide4 &x) noexcept
{
    return {{std::sqrt(x.v[0]), std::sqrt(x.v[1]), std::sqrt(x.v[2]), std::sqrt(x.v[3])}};
}
TALV_LANES wide_t sum_of_lanes(const Wide4 &x) noexcept
{
    return (x.v[0] + x.v[2]) + (x.v[1] + x.v[3]);
}
TALV_LANES int equal_lanes(const Wide4 &x, const Wide4 &y) noexcept
{
    return (x.v[0] == y.v[0] ? 1 : 0) | (x.v[1] == y.v[1] ? 2 : 0) | (x.v[2] == y.v[2] ? 4 : 0) |
           (x.v[3] == y.v[3] ? 8 : 0);
}
TALV_LANES wide_t largest_lane(const Wide4 &x) noexcept
{
    return larger(larger(x.v[0], x.v[2]), larger(x.v[1], x.v[3]));
}
TALV_LANES void store(wide_t *out, Wide4 x) noexcept
{
    std::memcpy(out, x.v, sizeof x.v);
}
TALV_LANES4 void store_rounded(float *out, const Wide4 &x) noexcept
{
    out[0] = rounded(x.v[0]);
    out[1] = rounded(x.v[1]);
    out[2] = rounded(x.v[2]);
    out[3] = rounded(x.v[3]);
}
TALV_LANES void store_rounded_reversed(float *out, Wide4 x) noexcept
{
    store_rounded(out, {{x.v[3], x.v[2], x.v[1], x.v[0]}});
}
TALV_LANES4 Wide4 rounded_wide(const Wide4 &x) noexcept
{
    return {{wide(rounded(x.v[0])), wide(rounded(x.v[1])), wide(rounded(x.v[2])), wide(rounded(x.v[3]))}};
}

TALV_LANES4 int lanes_above(const Wide4 &x, const Wide4 &limit) noexcept
{
    return (x.v[0] > limit.v[0] ? 1 : 0) | (x.v[1] > limit.v[1] ? 2 : 0) | (x.v[2] > limit.v[2] ? 4 : 0) |
           (x.v[3] > limit.v[3] ? 8 : 0);
}

/** out[i] = max(x[i], y[i]), i < 8; out may be x */
TALV_LANES void max_of_8(const int32_t *x, const int32_t *y, int32_t *out) noexcept
{
    int32_t larger[8];
    for (int i = 0; i < 8; i++)
        larger[i] = x[i] > y[i] ? x[i] : y[i];
    std::memcpy(out, larger, sizeof larger);
}

} // namespace talv::inline TALV_TARGET

#endif
