#include "decoder/interpolate.h"

#include "dsp/fixed.h"
#include "dsp/simd_float.h"
#include "dsp/wide.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace talv::inline TALV_TABLES
{

inline constexpr int LENGTH_MAX = 80; /* the longest subframe */

/* Weights of the new cycle, for the lengths that subframes have: a running sum of 1/L, rounded to float at each step */
inline constexpr int SUBFRAME_LENGTHS[] = {20, 21, 24, 26, 30, 32, 34, 36, 40, 48, 60, 80};
inline constexpr int WEIGHTS_TOTAL = 451 + 4; /* the lengths' sum, and room to read four at a time */

struct Weights {
    float t[WEIGHTS_TOTAL];
    int16_t from[LENGTH_MAX + 1]; /* place of a length's first weight, or -1 */
};

template <typename T>
consteval Weights make_weights() noexcept
{
    Weights weights{};
    for (int16_t &from : weights.from)
        from = -1;
    int at = 0;
    for (const int L : SUBFRAME_LENGTHS) {
        weights.from[L] = static_cast<int16_t>(at);
        float t = 0.0f;
        for (int j = 0; j < L; j++, t = static_cast<float>(static_cast<T>(t) + 1 / static_cast<T>(L)))
            weights.t[at++] = t;
    }
    return weights;
}

/* Worked out in T */
template <typename T>
inline constexpr Weights weights = make_weights<T>();

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

namespace
{

/* A read position, in grid points. It runs on for as long as there is speech, and whether it has left the grid may decide
 * by how much the next cycle is displaced: its sums must be those of double. */
#ifdef TALV_FLOAT_ONLY
using Position = Fixed;
constexpr Position position(float x) noexcept
{
    return fixed(x);
}
#else
using Position = wide_t;
constexpr Position position(float x) noexcept
{
    return wide(x);
}
constexpr float nearest_float(Position x) noexcept
{
    return rounded(x);
}
constexpr Position divided(Position x, int n) noexcept
{
    return x / n;
}
#endif

/** Common speed of both read positions, cycles a sample, and where the new cycle is entered */
struct Glide {
    float f0, f1;
    Position pos_new;
};

/** While the longer lag is less than twice the shorter the speed runs from one to the other. Beyond, the shorter lag is
 *  taken r times, so that the speed stays near the longer lag.
 *  u  I  the carried position on the new grid                                                                        */
Glide plan_glide(int p_old, int p_new, Position n_new, Position u) noexcept
{
    if (p_new < p_old) {
        const int r = p_old / p_new;
        Position pos = r * u;
        while (pos > n_new)
            pos -= n_new;
        return {1.0f / static_cast<float>(p_old), 1.0f / static_cast<float>(r * p_new), pos};
    }
    if (p_new > p_old) {
        const int r = p_new / p_old;
        return {1.0f / static_cast<float>(r * p_old), 1.0f / static_cast<float>(p_new), divided(u, r)};
    }
    const float f = 1.0f / static_cast<float>(p_old);
    return {f, f, u};
}

/** A read position on a grid of n points, and what it advances by */
struct Reader {
    Position pos;
    float step, ramp; /* the step grows by the ramp */
    Position n;
};

#ifndef TALV_FLOAT_ONLY
/** Where the first sample is read */
Position reduced(const Reader &reader) noexcept
{
    return reader.pos >= reader.n ? reader.pos - reader.n : reader.pos;
}

/** The positions of a reader in closed form: that of sample j is first + j (step + j bend), less as many times n as it
 *  takes */
struct Course {
    wide_t first, step, bend;

    wide_t position(wide_t j) const noexcept { return add_exact(first, j, add_exact(step, j, bend)); }
};

/** Whether x is a multiple of 1/units: adding 2^52/units and taking it away again leaves those alone, and no others */
constexpr bool multiple_of(wide_t x, wide_t units) noexcept
{
    const wide_t large = 0x1p52 / units;
    return (x + large) - large == x;
}

/** Whether adding the ramp raises a step by `rise`, rounded to float, `count` times in a row
 *  It does so once. It always does, by as many units in the step's last place, while the step stays strictly between
 *  the same two powers of two, unless the ramp lies in the middle between two numbers of units, where rounding goes by
 *  the parity.                                                                                                     */
bool rises_evenly(float step, float ramp, wide_t rise, int count) noexcept
{
    constexpr uint32_t EXPONENT = 0x7f800000, MANTISSA = 0x007fffff;
    const uint32_t bits = std::bit_cast<uint32_t>(step);
    const uint32_t last = std::bit_cast<uint32_t>(rounded(wide(step) + wide(count) * rise));
    const wide_t unit = wide(std::bit_cast<float>(bits & EXPONENT)) * 0x1p-23;
    return ramp == 0.0f || (((bits ^ last) & EXPONENT) == 0 && (bits & MANTISSA) != 0 && (last & MANTISSA) != 0 &&
                            2 * std::fabs(wide(ramp) - rise) < unit);
}

/** The course of a reader over `count` samples; false where it has none, which is rare: at positions very close to 0 or
 *  divided by an odd number, and where the step passes a power of two
 *  Steps are multiples of 2^-30 then and positions of 2^-40, all below 2^12, so that sums and products here are exact:
 *  they are what adding up step by step comes to.                                                                  */
bool course_of(const Reader &reader, int count, Course *course) noexcept
{
    const wide_t step = wide(reader.step), rise = wide(reader.step + reader.ramp) - step;
    *course = {reduced(reader), step - 0.5 * rise, 0.5 * rise};
    return reader.pos < 2 * reader.n && multiple_of(reader.pos, 0x1p40) && multiple_of(step, 0x1p30) &&
           rises_evenly(reader.step, reader.ramp, rise, count);
}
#endif

/** The positions of the next samples, each wrapped around once where the advance before it has left the grid
 *  count   I
 *  pos     O  [count + LANES]  filled up to whole groups of four                                                       */
void read_positions(Reader *reader, int count, Position *pos) noexcept
{
    for (int j = 0; j < count; j++) {
        if (reader->pos >= reader->n) [[unlikely]]
            reader->pos -= reader->n;
        pos[j] = reader->pos;
        reader->pos += position(reader->step);
        reader->step += reader->ramp;
    }
    std::fill_n(pos + count, LANES, Position{});
}

/** The spline between b and c at the fraction x of the way; a, b, c, e are neighbouring coefficients, floats in value:
 *  (a + 4 b + c) + x (3 (c - a) + x (3 (a + c - 2 b) + x (3 (b - c) + e - a)))                                       */
template <typename T>
TALV_INLINE T spline_cubic(T a, T b, T c, T e, T x, T two, T three, T four) noexcept
{
    const T c0 = add_exact(a, four, b) + c;
    const T c1 = three * (c - a);
    const T c2 = three * subtract_exact(a + c, two, b);
    const T c3 = three * (b - c) + e - a;
    return c0 + x * (c1 + x * (c2 + x * c3));
}

/** Four positions: the grid points before them, times PLACE_STEP, and how far they lie beyond */
struct Places {
    int32_t point[LANES];
    Wide4 x;
};

TALV_INLINE Places places_of(const Position *pos) noexcept
{
    Places places;
#ifdef TALV_FLOAT_ONLY
    for (int l = 0; l < LANES; l++) {
        places.point[l] = whole_part(pos[l]) * PLACE_STEP;
        places.x.v[l] = fraction(pos[l]);
    }
#else
    const Wide4 four = load(pos);
    const Int4 at = places_of(four, -1);
    std::memcpy(places.point, &at, sizeof at);
    places.x = fraction_of(four);
#endif
    return places;
}

/** spline_value() at four places: x beyond the grid points, which are told as Places has them
 *  before  I  from the guard in front of the coefficients on                                                       */
TALV_INLINE Wide4 spline_values(const float *before, const int32_t *point, Wide4 x) noexcept
{
    Wide4 block[LANES];
    TALV_UNROLL
    for (int l = 0; l < LANES; l++)
        block[l] = load_wide_at(before, point[l]);
    transpose(block);
    return spline_cubic(block[0], block[1], block[2], block[3], x, broadcast(2.0), broadcast(3.0), broadcast(4.0));
}

/** Four samples of the cross-fade
 *  old_value  I  rounded
 *  weight     I  of the new cycle                                                                                   */
TALV_INLINE Float4 cross_fade(Wide4 old_value, Wide4 new_value, Wide4 weight) noexcept
{
    return narrowed(old_value + weight * (new_value - old_value));
}

/** The next weights of a subframe whose length the table lacks
 *  t     IO                     the running sum
 *  room  O  [count up to whole groups of four]                                                                     */
[[gnu::cold]] const float *running_weights(int L, int count, float *t, float *room) noexcept
{
    for (int j = 0; j < count; j++, *t = rounded(wide(*t) + 1 / wide(L)))
        room[j] = *t;
    store4(room + count, Float4{});
    return room;
}

constexpr int APART = 20; /* samples at a time, to spare the stack */

/** The samples of a subframe, up to whole groups of four, at positions that are found one after the other
 *  weight  I  [L]  of the new cycle, or null: to be worked out                                                      */
[[gnu::cold, gnu::noinline]] void fade_apart(const float *old_cycle, const float *new_cycle, Reader *old_reader,
                                             Reader *new_reader, const float *weight, int L, float *out) noexcept
{
    float t = 0.0f;
    for (int from = 0; from < L; from += APART) {
        Position pos_old[APART + LANES], pos_new[APART + LANES];
        const int some = std::min(L - from, APART);
        read_positions(old_reader, some, pos_old);
        read_positions(new_reader, some, pos_new);
        float room[APART + LANES];
        const float *weights_now = weight != nullptr ? weight + from : running_weights(L, some, &t, room);
        for (int j = 0; j < some; j += LANES) {
            const Places old_at = places_of(pos_old + j), new_at = places_of(pos_new + j);
            store4(out + from + j,
                   cross_fade(rounded_wide(spline_values(old_cycle - 1, old_at.point, old_at.x)),
                              spline_values(new_cycle - 1, new_at.point, new_at.x), load_wide(weights_now + j)));
        }
    }
}

#ifndef TALV_FLOAT_ONLY
/** The same on a course
 *  In three short loops: a processor sees no further ahead than one turn of a long one, and each turn is a chain of many
 *  operations.
 *  return  where the sample after the last one would be read, not reduced                                          */
wide_t fade_on_course(const float *before_old, const float *before_new, const Course &course, int n,
                      const float *weight, int count, float *out) noexcept
{
    const Wide4 first = broadcast(course.first), step = broadcast(course.step), bend = broadcast(course.bend);
    int32_t point[LENGTH_MAX + LANES];
    wide_t beyond[LENGTH_MAX + LANES];
    Wide4 j = make_wide4(0.0, 1.0, 2.0, 3.0);
    for (int i = 0; i < count; i += LANES, j = j + broadcast(LANES)) {
        const Wide4 pos = add_exact(first, j, add_exact(step, j, bend));
        const Int4 on_grid = places_of(pos, n - 1); /* n is a power of two */
        std::memcpy(point + i, &on_grid, sizeof on_grid);
        store(beyond + i, fraction_of(pos));
    }
    for (int i = 0; i < count; i += LANES)
        store_rounded(out + i, spline_values(before_old, point + i, load(beyond + i)));
    for (int i = 0; i < count; i += LANES)
        store4(out + i, cross_fade(load_wide(out + i), spline_values(before_new, point + i, load(beyond + i)),
                                   load_wide(weight + i)));

    const int last_point = static_cast<int>(course.position(wide(count - 1)));
    return course.position(wide(count)) - wide(last_point & -n);
}
#endif

} // namespace

void set_guards(float *cycle, int n) noexcept
{
    cycle[-1] = cycle[n - 1];
    cycle[n] = cycle[0];
    cycle[n + 1] = cycle[1];
}

bool continuity_break(float rs_before, float rs_now, float gain_before, float gain_now) noexcept
{
    return wide(rs_before) - wide(rs_now) > wide(0.5) || 3 * wide(gain_before) < wide(gain_now);
}

wide_t spline_value(const float *coef, wide_t pos) noexcept
{
    const int i = static_cast<int>(pos);
    const wide_t x = pos - wide(i);
    const wide_t a = wide(coef[i - 1]), b = wide(coef[i]), c = wide(coef[i + 1]), e = wide(coef[i + 2]);
    return spline_cubic(a, b, c, e, x, wide_t{2}, wide_t{3}, wide_t{4});
}

void cw_interpolate(int n_old, int n_new, float *old_cycle, float *new_cycle, int p_old, int p_new, int L, float *out,
                    float *phase) noexcept
{
    set_guards(old_cycle, n_old);
    set_guards(new_cycle, n_new);

    const float size_old = static_cast<float>(n_old), size_new = static_cast<float>(n_new);
    const Position end_old = position(size_old), end_new = position(size_new);
    const Glide glide = plan_glide(p_old, p_new, end_new, position(*phase / size_old * size_new));
    const float d = (glide.f1 - glide.f0) / static_cast<float>(L);
    Reader old_reader = {position(*phase), glide.f0 * size_old, d * size_old, end_old};
    Reader new_reader = {glide.pos_new, glide.f0 * size_new, d * size_new, end_new};

    const bool listed = L <= LENGTH_MAX && weights<wide_t>.from[L] >= 0;
    const float *weight = listed ? weights<wide_t>.t + weights<wide_t>.from[L] : nullptr;
#ifndef TALV_FLOAT_ONLY
    /* Grid sizes are powers of two: all that is multiplied or divided by them stays exact. Two positions that start at the
     * same place of equal grids therefore stay together. */
    Course course;
    if (listed && n_old == n_new && reduced(old_reader) == reduced(new_reader) && course_of(old_reader, L, &course)) {
        *phase = nearest_float(fade_on_course(old_cycle - 1, new_cycle - 1, course, n_old, weight, L, out));
        return; /* nearly always */
    }
#endif
    fade_apart(old_cycle, new_cycle, &old_reader, &new_reader, weight, L, out);
    *phase = nearest_float(new_reader.pos);
}

} // namespace talv::inline TALV_TARGET
