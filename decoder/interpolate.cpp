#include "decoder/interpolate.h"

#include "dsp/simd_float.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

namespace
{

/** Extend a cycle periodically by one element in front and two behind */
void set_guards(float *cycle, int n) noexcept
{
    cycle[-1] = cycle[n - 1];
    cycle[n] = cycle[0];
    cycle[n + 1] = cycle[1];
}

/** Common speed of both read positions, cycles a sample, and where the new cycle is entered */
struct Glide {
    float f0, f1;
    wide_t pos_new;
};

/** While the longer lag is less than twice the shorter the speed runs from one to the other. Beyond, the shorter lag is
 *  taken r times, so that the speed stays near the longer lag.
 *  u  I  the carried position on the new grid                                                                        */
Glide plan_glide(int p_old, int p_new, int n_new, wide_t u) noexcept
{
    if (p_new < p_old) {
        const int r = p_old / p_new;
        wide_t pos = wide(r) * u;
        while (pos > wide(n_new))
            pos -= wide(n_new);
        return {1.0f / static_cast<float>(p_old), 1.0f / static_cast<float>(r * p_new), pos};
    }
    if (p_new > p_old) {
        const int r = p_new / p_old;
        return {1.0f / static_cast<float>(r * p_old), 1.0f / static_cast<float>(p_new), u / wide(r)};
    }
    const float f = 1.0f / static_cast<float>(p_old);
    return {f, f, u};
}

/** A read position on a grid of n points, and what it advances by */
struct Reader {
    wide_t pos;
    float step, ramp; /* the step grows by the ramp */
    wide_t n;
};

/** The position of the next sample; wraps around where the last advance has left the grid
 *  glides  I  whether the ramp is other than 0                                                                       */
TALV_INLINE wide_t next_position(Reader *reader, bool glides) noexcept
{
    if (reader->pos >= reader->n) [[unlikely]]
        reader->pos -= reader->n;
    const wide_t pos = reader->pos;
    reader->pos += wide(reader->step);
    if (glides)
        reader->step += reader->ramp;
    return pos;
}

/** Where the first sample is read */
wide_t reduced(const Reader &reader) noexcept
{
    return reader.pos >= reader.n ? reader.pos - reader.n : reader.pos;
}

/** The positions of the next four samples, of which `count` are left in the subframe; the others are made up */
TALV_INLINE Wide4 next_positions(Reader *reader, int count) noexcept
{
    wide_t pos[LANES];
    if (reader->ramp == 0.0f) { /* two cycles of one lag, the usual case */
        pos[0] = next_position(reader, false);
        for (int l = 1; l < LANES; l++)
            pos[l] = l < count ? next_position(reader, false) : pos[0];
    } else {
        pos[0] = next_position(reader, true);
        for (int l = 1; l < LANES; l++)
            pos[l] = l < count ? next_position(reader, true) : pos[0];
    }
    return make_wide4(pos[0], pos[1], pos[2], pos[3]);
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

/** Four positions: the grid points before them and how far they lie beyond */
struct Places {
    Int4 point;
    Wide4 x;
};

TALV_INLINE Places places_of(Wide4 pos) noexcept
{
    const Int4 point = truncated(pos);
    return {point, pos - widened(point)};
}

/** spline_value() at four places */
TALV_INLINE Wide4 spline_values(const float *coef, const Places &places) noexcept
{
    Float4 block[LANES];
    TALV_UNROLL
    for (int l = 0; l < LANES; l++)
        block[l] = load4(coef - 1 + static_cast<uint32_t>(places.point[l]));
    transpose(block);
    return spline_cubic(widened(block[0]), widened(block[1]), widened(block[2]), widened(block[3]), places.x,
                        broadcast(2.0), broadcast(3.0), broadcast(4.0));
}

/** The two cycles and how their positions go together */
struct CyclePair {
    const float *old_cycle, *new_cycle;
    Reader old_reader, new_reader;
    bool together;  /* the positions are at the same fraction of their grids, so that old_reader serves both */
    bool same_grid; /* and the grids are of one size                                                         */
    wide_t ratio;   /* size of the new grid over that of the old one                                         */
};

/** Four samples of the cross-fade, of which the first `count` are wanted
 *  weight  I  of the new cycle                                                                                      */
TALV_INLINE Float4 cross_fade(CyclePair *pair, Wide4 weight, int count) noexcept
{
    const Wide4 pos_old = next_positions(&pair->old_reader, count);
    const Places old_places = places_of(pos_old);
    Places new_places = old_places;
    if (!pair->same_grid) {
        if (pair->together)
            new_places = places_of(pos_old * broadcast(pair->ratio));
        else
            new_places = places_of(next_positions(&pair->new_reader, count));
    }
    const Wide4 A = rounded_wide(spline_values(pair->old_cycle, old_places));
    const Wide4 B = spline_values(pair->new_cycle, new_places);
    return narrowed(A + weight * (B - A));
}

/* Weights of the new cycle, for the lengths that subframes have: a running sum of 1/L, rounded to float at each step */
constexpr int SUBFRAME_LENGTHS[] = {20, 21, 24, 26, 30, 32, 34, 36, 40, 48, 60, 80};
constexpr int LENGTH_MAX = 80;
constexpr int WEIGHTS_TOTAL = 451 + LANES; /* the lengths' sum, and room to read four at a time */

struct Weights {
    float t[WEIGHTS_TOTAL];
    int16_t from[LENGTH_MAX + 1]; /* place of a length's first weight, or -1 */
};

constexpr float next_weight(float t, wide_t w) noexcept
{
    return rounded(wide(t) + w);
}

constexpr Weights make_weights() noexcept
{
    Weights weights{};
    for (int16_t &from : weights.from)
        from = -1;
    int at = 0;
    for (const int L : SUBFRAME_LENGTHS) {
        weights.from[L] = static_cast<int16_t>(at);
        float t = 0.0f;
        for (int j = 0; j < L; j++, t = next_weight(t, 1 / wide(L)))
            weights.t[at++] = t;
    }
    return weights;
}

constexpr Weights weights = make_weights();

/** Where the weights come from: the table, or for a length that it lacks the running sum itself */
struct Fade {
    const float *table; /* the next weights, or null */
    float t;
    wide_t w;
};

Fade start_fade(int L) noexcept
{
    const bool listed = L >= 0 && L <= LENGTH_MAX && weights.from[L] >= 0;
    return {listed ? weights.t + weights.from[L] : nullptr, 0.0f, 1 / wide(L)};
}

TALV_INLINE Wide4 next_weights(Fade *fade) noexcept
{
    if (fade->table != nullptr) [[likely]] {
        const Wide4 out = load_wide(fade->table);
        fade->table += LANES;
        return out;
    }
    float t[LANES];
    for (float &v : t) {
        v = fade->t;
        fade->t = next_weight(fade->t, fade->w);
    }
    return load_wide(t);
}

} // namespace

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

    const Glide glide = plan_glide(p_old, p_new, n_new, wide(*phase) / wide(n_old) * wide(n_new));
    const float d = rounded(wide(glide.f1 - glide.f0) * (1 / wide(L)));
    /* Grid sizes are powers of two: all that is multiplied or divided by them stays exact. Two positions that start at
     * the same fraction of their grids therefore stay there. */
    const float size_old = static_cast<float>(n_old), size_new = static_cast<float>(n_new);
    const Reader old_reader = {wide(*phase), glide.f0 * size_old, d * size_old, wide(size_old)};
    const Reader new_reader = {glide.pos_new, glide.f0 * size_new, d * size_new, wide(size_new)};
    const wide_t ratio = wide(size_new) / wide(size_old);
    const bool together = reduced(old_reader) * ratio == reduced(new_reader);
    CyclePair pair = {old_cycle, new_cycle, old_reader, new_reader, together, together && n_old == n_new, ratio};

    Fade fade = start_fade(L);
    int j = 0;
    for (; j + LANES <= L; j += LANES)
        store4(out + j, cross_fade(&pair, next_weights(&fade), LANES));
    if (j < L) {
        const Float4 last = cross_fade(&pair, next_weights(&fade), L - j);
        for (int l = 0; j + l < L; l++)
            out[j + l] = last[l];
    }
    *phase = rounded(together ? pair.old_reader.pos * ratio : pair.new_reader.pos);
}

} // namespace talv::inline TALV_TARGET
