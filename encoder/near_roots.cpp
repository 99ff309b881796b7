#include "encoder/near_roots.h"

#include "dsp/simd_estimate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#ifndef TALV_SIMD_PLAIN

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

namespace
{

constexpr Table<float, ROOT_GRID> make_grid() noexcept
{
    Table<float, ROOT_GRID> table{};
    for (int i = 0; i < ROOT_GRID; i++)
        table.entry[i] = rounded(cos_wide(PI * i / (ROOT_GRID - 1)));
    return table;
}

} // namespace

constexpr Table<float, ROOT_GRID> root_grid = make_grid();

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int ROOTS = NearRoots::PER_SERIES;
constexpr int ROW = NearRoots::ROW;

/* Half of what a stretch spans, in leaves: less than the 15/16 that the walk relies on, and otherwise as much as can be,
 * since the series has to be well off 0 at its ends. */
constexpr float HALF_STRETCH = 0.75f;

/** The polynomial by powers of x, which take the fewest operations
 *  a  O  [TERMS_CODEC] */
TALV_INLINE void powers_of(const float *c, Floats *a) noexcept
{
    a[0] = floats(c[0] - c[2] + c[4]);
    a[1] = floats(c[1] - 3.0f * c[3] + 5.0f * c[5]);
    a[2] = floats(2.0f * c[2] - 8.0f * c[4]);
    a[3] = floats(4.0f * c[3] - 20.0f * c[5]);
    a[4] = floats(8.0f * c[4]);
    a[5] = floats(16.0f * c[5]);
}

/** Its value, and its slope */
TALV_INLINE Floats horner(const Floats *a, Floats x) noexcept
{
    Floats value = a[ROOTS];
    TALV_UNROLL
    for (int i = ROOTS - 1; i >= 0; i--)
        value = add_product(a[i], value, x);
    return value;
}
TALV_INLINE Floats horner(const Floats *a, Floats x, Floats *slope) noexcept
{
    Floats value = add_product(a[ROOTS - 1], a[ROOTS], x);
    *slope = a[ROOTS];
    TALV_UNROLL
    for (int i = ROOTS - 2; i >= 0; i--) {
        *slope = add_product(value, *slope, x);
        value = add_product(a[i], value, x);
    }
    return value;
}

/** The points of the grid between which the sign changes
 *  upper, lower  O  [ROOTS]
 *  return           whether there are as many changes                                                                */
[[gnu::noinline]] bool find_changes(const Floats *a, float *upper, float *lower) noexcept
{
    static_assert(ROOT_GRID == 64);
    uint64_t positive = 0;
    _Pragma("GCC unroll 2") for (int i = 0; i < ROOT_GRID; i += FLOATS) positive |=
        uint64_t{not_below(horner(a, load_floats(root_grid + i)), floats(0.0f))} << i;
    uint64_t changes = (positive ^ positive >> 1) & ~(uint64_t{1} << (ROOT_GRID - 1));
    TALV_NO_UNROLL
    for (int j = 0; j < ROOTS; j++) {
        if (changes == 0)
            return false;
        const int at = __builtin_ctzll(changes);
        upper[j] = root_grid[at];
        lower[j] = root_grid[at + 1];
        changes &= changes - 1;
    }
    return changes == 0;
}

/** How long a step of the walk is */
TALV_INLINE Floats step_at(Floats x) noexcept
{
    return add_product(floats(STEP_BASE), floats(STEP_BEND) * x, x);
}

/** A series of the codec's order at four points, by Clenshaw's recurrence */
TALV_INLINE Wide4 series_at(const wide_t *w, Wide4 x) noexcept
{
    const Wide4 two_x = x + x;
    Wide4 b1 = broadcast(w[ROOTS]), b2 = broadcast(wide(0));
    TALV_UNROLL
    for (int i = ROOTS - 1; i >= 1; i--) {
        const Wide4 b = multiply_add_nearly(two_x, b1, broadcast(w[i]) - b2);
        b2 = b1;
        b1 = b;
    }
    return multiply_add_nearly(x, b1, broadcast(w[0]) - b2);
}

/** How far from 0 a series may lie at most while cheb_eval() may still err in its sign
 *  In step k cheb_eval() rounds b[k] to float, which is as if coefficient k differed by 2^-24 |b[k]|; and |T_k| <= 1,
 *  |b[k]| <= sum over j >= k of (j - k + 1) |c[j]|, since |U_j| <= j + 1. Summed over k that is 2^-24 times the sum of
 *  (j + 1) (j + 2) / 2 |c[j]|, and the last rounding adds one |c[j]| more at most. The hundredth is for what is of second
 *  order, and for the roundings of series_at() and here.                                                             */
float doubt_of(const float *c) noexcept
{
    float sum = 0.0f;
    TALV_UNROLL
    for (int j = 0; j < TERMS_CODEC; j++)
        sum += static_cast<float>((j + 1) * (j + 2) / 2 + 1) * std::fabs(c[j]);
    return sum * (1.01f * 0x1p-24f);
}

} // namespace

/* Five stretches at whose ends the series is beyond doubt, with opposite signs, hold a root each, and a polynomial of
 * degree five has no other. Its slope then has one root between each two of them and none beyond. So between two
 * stretches the series is nowhere nearer to 0 than at one of the ends that face each other, and beyond the outermost ones
 * nowhere nearer than at theirs: cheb_eval() is sure of its sign there too. The highest coefficient is above 0, and so is
 * the series above all roots. */
bool find_near_roots(const Series *series, NearRoots *near) noexcept
{
    constexpr int GROUPS = ROW / FLOATS; /* of a row */
    Floats a[2][TERMS_CODEC];
    float upper[2][ROW] = {}, lower[2][ROW] = {};
    for (int s = 0; s < 2; s++) {
        powers_of(series[s].c, a[s]);
        if (!find_changes(a[s], upper[s], lower[s]))
            return false;
    }

    /* Bit 8 s + j: of the stretch's upper end, and of its lower end */
    unsigned positive[2] = {}, negative[2] = {};
    const wide_t doubt[2] = {wide(doubt_of(series[0].c)), wide(doubt_of(series[1].c))};
    TALV_NO_UNROLL
    for (int g = 0; g < 2 * GROUPS; g++) {
        const int s = g / GROUPS, j = g % GROUPS * FLOATS;
        const Floats up = load_floats(upper[s] + j), low = load_floats(lower[s] + j);
        const Floats F_up = horner(a[s], up), F_low = horner(a[s], low);
        Floats x = up - F_up * (up - low) / (F_up - F_low);
        TALV_UNROLL
        for (int round = 0; round < 2; round++) {
            Floats slope;
            const Floats value = horner(a[s], x, &slope);
            x = x - value / slope;
        }
        const Floats step = step_at(x), half = step * floats(HALF_STRETCH / LEAVES);
        store(near->at[s] + j, x);
        store(near->high[s] + j, x + half);
        store(near->low_before[s] + 1 + j, x - half);
        const Wide4 beyond = broadcast(doubt[s]), before = broadcast(-doubt[s]);
        TALV_NO_UNROLL
        for (int i = j; i < j + FLOATS; i += LANES) {
            const Wide4 F[2] = {series_at(series[s].w, load_wide(near->high[s] + i)),
                                series_at(series[s].w, load_wide(near->low_before[s] + 1 + i))};
            TALV_UNROLL
            for (int end = 0; end < 2; end++) {
                positive[end] |= static_cast<unsigned>(lanes_above(F[end], beyond)) << (ROW * s + i);
                negative[end] |= static_cast<unsigned>(lanes_above(before, F[end])) << (ROW * s + i);
            }
        }
        store(near->leaves[s] + j, floats(LEAVES) / step_at(add_product(x, floats(0.5f), step)));
        /* A step leads from y = x + step(y) to x: where steps hardly differ from one to the next, this is soon found. */
        store(near->last_step[s] + j, x + step_at(x + step_at(x + step)));
    }

    constexpr unsigned ALL = ((1u << ROOTS) - 1) * ((1u << ROW) + 1), EVEN = ALL & 0x5555u, ODD = ALL - EVEN;
    bool apart = ((positive[0] & ALL) == EVEN) & ((negative[0] & ALL) == ODD) & ((positive[1] & ALL) == ODD) &
                 ((negative[1] & ALL) == EVEN);
    for (int s = 0; s < 2; s++) {
        near->low_before[s][0] = 2.0f;
        near->high[s][ROOTS] = -1.0f - std::numeric_limits<float>::epsilon();
        apart = apart && near->high[s][0] <= 1.0f && near->low_before[s][ROOTS] >= -1.0f;
        TALV_UNROLL
        for (int j = 1; j < ROOTS; j++)
            apart = apart && near->high[s][j] < near->low_before[s][j];
    }
    return apart;
}

} // namespace talv::inline TALV_TARGET

#endif
