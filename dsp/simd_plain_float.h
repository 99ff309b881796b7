/** The types of dsp/simd_convert.h and dsp/simd_float.h for processors without vector registers
 *
 *  Included by dsp/simd_convert.h alone. What holds for dsp/simd_plain.h holds here too.
 */
#ifndef TALV_DSP_SIMD_PLAIN_FLOAT_H
#define TALV_DSP_SIMD_PLAIN_FLOAT_H

#include "dsp/simd.h"

namespace talv::inline TALV_TARGET
{

struct Float4 {
    float v[4];
    TALV_LANES float &operator[](int i) noexcept { return v[i]; }
    TALV_LANES const float &operator[](int i) const noexcept { return v[i]; }
};
struct Int4 {
    int32_t v[4];
    TALV_LANES const int32_t &operator[](int i) const noexcept { return v[i]; }
};
/* Two wide values */
struct Pair64 {
    wide_t v[2];
    TALV_LANES const wide_t &operator[](int i) const noexcept { return v[i]; }
};

TALV_LANES Float4 load4(const float *x) noexcept
{
    return {{x[0], x[1], x[2], x[3]}};
}
TALV_LANES void store4(float *out, Float4 x) noexcept
{
    std::memcpy(out, x.v, sizeof x.v);
}
TALV_LANES Float4 operator+(Float4 x, Float4 y) noexcept
{
    return {{x.v[0] + y.v[0], x.v[1] + y.v[1], x.v[2] + y.v[2], x.v[3] + y.v[3]}};
}
TALV_LANES Float4 operator-(Float4 x, Float4 y) noexcept
{
    return {{x.v[0] - y.v[0], x.v[1] - y.v[1], x.v[2] - y.v[2], x.v[3] - y.v[3]}};
}
TALV_LANES Float4 operator-(Float4 x) noexcept
{
    return {{-x.v[0], -x.v[1], -x.v[2], -x.v[3]}};
}
TALV_LANES Float4 operator*(Float4 x, Float4 y) noexcept
{
    return {{x.v[0] * y.v[0], x.v[1] * y.v[1], x.v[2] * y.v[2], x.v[3] * y.v[3]}};
}
TALV_LANES Float4 operator+(Float4 x, float y) noexcept
{
    return {{x.v[0] + y, x.v[1] + y, x.v[2] + y, x.v[3] + y}};
}
TALV_LANES Float4 operator-(float x, Float4 y) noexcept
{
    return {{x - y.v[0], x - y.v[1], x - y.v[2], x - y.v[3]}};
}
TALV_LANES Float4 operator*(Float4 x, float y) noexcept
{
    return {{x.v[0] * y, x.v[1] * y, x.v[2] * y, x.v[3] * y}};
}
TALV_LANES Float4 &operator+=(Float4 &x, Float4 y) noexcept
{
    return x = x + y;
}

TALV_LANES Float4 even_lanes(Float4 x, Float4 y) noexcept
{
    return {{x.v[0], x.v[2], y.v[0], y.v[2]}};
}
TALV_LANES Float4 odd_lanes(Float4 x, Float4 y) noexcept
{
    return {{x.v[1], x.v[3], y.v[1], y.v[3]}};
}
TALV_LANES Float4 interleave_low(Float4 x, Float4 y) noexcept
{
    return {{x.v[0], y.v[0], x.v[1], y.v[1]}};
}
TALV_LANES Float4 interleave_high(Float4 x, Float4 y) noexcept
{
    return {{x.v[2], y.v[2], x.v[3], y.v[3]}};
}
TALV_LANES Float4 low_halves(Float4 x, Float4 y) noexcept
{
    return {{x.v[0], x.v[1], y.v[0], y.v[1]}};
}
TALV_LANES Float4 high_halves(Float4 x, Float4 y) noexcept
{
    return {{x.v[2], x.v[3], y.v[2], y.v[3]}};
}
TALV_LANES Float4 reversed(Float4 x) noexcept
{
    return {{x.v[3], x.v[2], x.v[1], x.v[0]}};
}
TALV_LANES Float4 last_and_three(Float4 x, Float4 y) noexcept
{
    return {{x.v[3], y.v[0], y.v[1], y.v[2]}};
}
TALV_LANES Float4 last_two_and_two(Float4 x, Float4 y) noexcept
{
    return {{x.v[2], x.v[3], y.v[0], y.v[1]}};
}
TALV_LANES Float4 load_pairs(const float *x, const float *y) noexcept
{
    return {{x[0], x[1], y[0], y[1]}};
}
TALV_LANES Float4 not_below_zero(Float4 x) noexcept
{
    return {{x.v[0] < 0.0f ? 0.0f : x.v[0], x.v[1] < 0.0f ? 0.0f : x.v[1], x.v[2] < 0.0f ? 0.0f : x.v[2],
             x.v[3] < 0.0f ? 0.0f : x.v[3]}};
}
TALV_LANES Float4 magnitude(Float4 x) noexcept
{
    return {{std::fabs(x.v[0]), std::fabs(x.v[1]), std::fabs(x.v[2]), std::fabs(x.v[3])}};
}
TALV_LANES Float4 smaller(Float4 x, Float4 y) noexcept
{
    return {{x.v[0] < y.v[0] ? x.v[0] : y.v[0], x.v[1] < y.v[1] ? x.v[1] : y.v[1], x.v[2] < y.v[2] ? x.v[2] : y.v[2],
             x.v[3] < y.v[3] ? x.v[3] : y.v[3]}};
}
TALV_LANES int equal_lanes(Float4 x, Float4 y) noexcept
{
    return (x.v[0] == y.v[0] ? 1 : 0) | (x.v[1] == y.v[1] ? 2 : 0) | (x.v[2] == y.v[2] ? 4 : 0) |
           (x.v[3] == y.v[3] ? 8 : 0);
}
TALV_LANES unsigned not_below(Float4 x, Float4 y) noexcept
{
    return (x.v[0] >= y.v[0] ? 1u : 0u) | (x.v[1] >= y.v[1] ? 2u : 0u) | (x.v[2] >= y.v[2] ? 4u : 0u) |
           (x.v[3] >= y.v[3] ? 8u : 0u);
}
TALV_LANES float within(float x, float low, float high, float other) noexcept
{
    return x >= low && x < high ? x : other;
}
TALV_LANES Float4 within(Float4 x, float low, float high, float other) noexcept
{
    return {{within(x.v[0], low, high, other), within(x.v[1], low, high, other), within(x.v[2], low, high, other),
             within(x.v[3], low, high, other)}};
}
/** The low halves of eight patterns */
TALV_LANES void store_low_halves(int16_t *out, Float4 x, Float4 y) noexcept
{
    int32_t pattern[8];
    std::memcpy(pattern, x.v, sizeof x.v);
    std::memcpy(pattern + 4, y.v, sizeof y.v);
    for (int i = 0; i < 8; i++)
        out[i] = static_cast<int16_t>(pattern[i]);
}

TALV_LANES4 Wide4 widened(const Float4 &x) noexcept
{
    return load_wide(x.v);
}
TALV_LANES4 Float4 narrowed(const Wide4 &x) noexcept
{
    return {{rounded(x.v[0]), rounded(x.v[1]), rounded(x.v[2]), rounded(x.v[3])}};
}
TALV_LANES4 Int4 truncated(const Wide4 &x) noexcept
{
    return {{static_cast<int32_t>(x.v[0]), static_cast<int32_t>(x.v[1]), static_cast<int32_t>(x.v[2]),
             static_cast<int32_t>(x.v[3])}};
}
TALV_LANES4 Int4 operator&(const Int4 &x, int32_t mask) noexcept
{
    return {{x.v[0] & mask, x.v[1] & mask, x.v[2] & mask, x.v[3] & mask}};
}
TALV_LANES4 Wide4 widened(const Int4 &x) noexcept
{
    return {{wide(x.v[0]), wide(x.v[1]), wide(x.v[2]), wide(x.v[3])}};
}
TALV_LANES wide_t lane(Wide4 x, int i) noexcept
{
    return x.v[i];
}

TALV_LANES Pair64 twice(wide_t x) noexcept
{
    return {{x, x}};
}
TALV_LANES Pair64 low_twice(Pair64 x) noexcept
{
    return {{x.v[0], x.v[0]}};
}
TALV_LANES Pair64 high_twice(Pair64 x) noexcept
{
    return {{x.v[1], x.v[1]}};
}
TALV_LANES Pair64 low_lanes(Pair64 x, Pair64 y) noexcept
{
    return {{x.v[0], y.v[0]}};
}
TALV_LANES Pair64 operator-(Pair64 x, Pair64 y) noexcept
{
    return {{x.v[0] - y.v[0], x.v[1] - y.v[1]}};
}
TALV_LANES Pair64 operator*(Pair64 x, Pair64 y) noexcept
{
    return {{x.v[0] * y.v[0], x.v[1] * y.v[1]}};
}
TALV_LANES Pair64 subtract_exact(Pair64 sum, Pair64 x, Pair64 y) noexcept
{
    return {{subtract_exact(sum.v[0], x.v[0], y.v[0]), subtract_exact(sum.v[1], x.v[1], y.v[1])}};
}
TALV_LANES Pair64 rounded_wide(Pair64 x) noexcept
{
    return {{wide(rounded(x.v[0])), wide(rounded(x.v[1]))}};
}
TALV_LANES Pair64 low_half(Wide4 x) noexcept
{
    return {{x.v[0], x.v[1]}};
}
TALV_LANES Pair64 high_half(Wide4 x) noexcept
{
    return {{x.v[2], x.v[3]}};
}
TALV_LANES Wide4 halves(Pair64 low, Pair64 high) noexcept
{
    return {{low.v[0], low.v[1], high.v[0], high.v[1]}};
}
/* Lanes 1 and 3 of x in turn with lanes 0 and 2 of y */
TALV_LANES Wide4 staggered(Wide4 x, Wide4 y) noexcept
{
    return {{x.v[1], y.v[0], x.v[3], y.v[2]}};
}

/* The second of x and the first of y */
TALV_LANES Pair64 staggered(Pair64 x, Pair64 y) noexcept
{
    return {{x.v[1], y.v[0]}};
}
TALV_LANES Pair64 load_pair(const wide_t *x) noexcept
{
    return {{x[0], x[1]}};
}
TALV_LANES Pair64 load_pair_wide(const float *x) noexcept
{
    return {{wide(x[0]), wide(x[1])}};
}
/* A conversion is quick enough here: nothing is left in doubt. */
TALV_LANES Pair64 round_half_away(Pair64 x) noexcept
{
    return rounded_wide(x);
}
/* Lanes other than 0 where x and y differ, or differed before; and whether there are any */
TALV_LANES Wide4 gather_difference(const Wide4 &found, const Wide4 &x, const Wide4 &y) noexcept
{
    Wide4 out = found;
    for (int i = 0; i < 4; i++)
        if (x.v[i] != y.v[i])
            out.v[i] = 1;
    return out;
}
TALV_LANES bool any_bit(const Wide4 &found) noexcept
{
    return found.v[0] != 0 || found.v[1] != 0 || found.v[2] != 0 || found.v[3] != 0;
}
TALV_LANES void transpose(Wide4 (&block)[4]) noexcept
{
    for (int i = 0; i < 4; i++)
        for (int j = 0; j < i; j++) {
            const wide_t v = block[i].v[j];
            block[i].v[j] = block[j].v[i];
            block[j].v[i] = v;
        }
}
TALV_LANES Float4 square_root(Float4 x) noexcept
{
    return {{__builtin_sqrtf(x.v[0]), __builtin_sqrtf(x.v[1]), __builtin_sqrtf(x.v[2]), __builtin_sqrtf(x.v[3])}};
}

/** Eight halves of words, modulo 2^16 */
struct Short8 {
    uint16_t v[8];
    TALV_LANES uint16_t operator[](int i) const noexcept { return v[i]; }
};

TALV_LANES Short8 load8(const uint16_t *x) noexcept
{
    Short8 out;
    std::memcpy(out.v, x, sizeof out.v);
    return out;
}
TALV_LANES void store8(uint16_t *out, const Short8 &x) noexcept
{
    std::memcpy(out, x.v, sizeof x.v);
}
template <typename Operation>
TALV_LANES Short8 each(Operation operation) noexcept
{
    Short8 out;
    for (int i = 0; i < 8; i++)
        out.v[i] = static_cast<uint16_t>(operation(i));
    return out;
}
TALV_LANES Short8 operator+(const Short8 &x, const Short8 &y) noexcept
{
    return each([&](int i) { return x.v[i] + y.v[i]; });
}
TALV_LANES Short8 operator+(const Short8 &x, uint16_t y) noexcept
{
    return each([&](int i) { return x.v[i] + y; });
}
TALV_LANES Short8 operator*(const Short8 &x, const Short8 &y) noexcept
{
    return each([&](int i) { return uint32_t{x.v[i]} * y.v[i]; });
}
TALV_LANES Short8 operator&(const Short8 &x, uint16_t y) noexcept
{
    return each([&](int i) { return x.v[i] & y; });
}
TALV_LANES Short8 operator>>(const Short8 &x, int n) noexcept
{
    return each([&](int i) { return x.v[i] >> n; });
}

/** Four floats in the form in which multiply_subtract() is quickest */
struct FloatLanes {
    Wide4 v;
};
TALV_LANES FloatLanes float_lanes(Float4 x) noexcept
{
    return {widened(x)};
}
TALV_LANES Wide4 widened(const FloatLanes &x) noexcept
{
    return x.v;
}
TALV_LANES FloatLanes multiply_subtract(const FloatLanes &x, const FloatLanes &y, const FloatLanes &z) noexcept
{
    return {rounded_wide(exact_minus(x.v, y.v, z.v))};
}
TALV_LANES FloatLanes doubled(const FloatLanes &x) noexcept
{
    return {x.v + x.v};
}

/** Two floats in the same form */
using FloatPair = Pair64;
TALV_LANES FloatPair float_pair(float a, float b) noexcept
{
    return {{wide(a), wide(b)}};
}
TALV_LANES FloatPair operator-(FloatPair x) noexcept
{
    return {{-x.v[0], -x.v[1]}};
}
TALV_LANES FloatPair multiply_subtract(FloatPair x, FloatPair y, FloatPair z) noexcept
{
    return {{wide(rounded(add_exact(-z.v[0], x.v[0], y.v[0]))), wide(rounded(add_exact(-z.v[1], x.v[1], y.v[1])))}};
}
TALV_LANES FloatLanes first_of(FloatPair p0, FloatPair p1, FloatPair p2, FloatPair p3) noexcept
{
    return {{{p0.v[0], p1.v[0], p2.v[0], p3.v[0]}}};
}
TALV_LANES FloatLanes second_of(FloatPair p0, FloatPair p1, FloatPair p2, FloatPair p3) noexcept
{
    return {{{p0.v[1], p1.v[1], p2.v[1], p3.v[1]}}};
}

} // namespace talv::inline TALV_TARGET

#endif
