#include "encoder/cycle.h"

#include "dsp/simd_chain.h"
#include "dsp/wide.h"

#include <algorithm>
#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr wide_t SPLINE_POLE = wide(0.267949192); /* 2 - sqrt(3): the pole of the cubic B-spline's inverse filter */

/** The two recursive passes over [-1 .. P+1], forward and backward */
void spline_passes(int P, const float *cycle, float *spline_coef) noexcept
{
    float y = 0.0f;
    for (int i = -1; i <= P + 1; i++) {
        y = rounded(-SPLINE_POLE * wide(y) + wide(cycle[i]));
        spline_coef[i] = y;
    }
    y = 0.0f;
    for (int i = P + 1; i >= -1; i--) {
        y = rounded(SPLINE_POLE * (wide(spline_coef[i]) - wide(y)));
        spline_coef[i] = y;
    }
}

/* The pole is so near 0 that what a pass held some samples before is soon forgotten to the last bit. So four stretches
 * of the cycle run side by side, each started from nothing WARM_UP samples before its own first one; where one of them
 * has not come to what its neighbour left off with, the proof finds it. */
constexpr int WARM_UP = 20;

/** n zeros, a multiple of LANES; not as a fill, which compilers turn into slow string instructions */
template <int n>
TALV_INLINE void clear(float *x) noexcept
{
    TALV_UNROLL
    for (int i = 0; i < n; i += LANES)
        store4(x + i, Float4{});
}

/** Both passes by quick chains; returns whether they hold (dsp/simd_chain.h) */
[[gnu::noinline]] bool spline_passes_quickly(int P, const float *cycle, float *spline_coef, SquareSums *beside) noexcept
{
    const int count = P + 3;
    const int stretch = (count + LANES * LANES - 1) / (LANES * LANES) * LANES; /* a multiple of LANES */
    /* Behind the cycle the stretches reach less than REST further, and their warming up, backwards, as much again. */
    constexpr int REST = LANES * LANES;
    constexpr int ROOM = LAG_MAX + 3 + REST + WARM_UP;
    float input[WARM_UP + ROOM], forward_room[LANES + ROOM], backward[ROOM];
    float *x = input + WARM_UP, *forward = forward_room + LANES;
    clear<WARM_UP>(input);
    std::copy_n(cycle - 1, count, x);
    clear<REST>(x + count);
    clear<LANES>(forward_room);
    backward[LANES * stretch] = 0.0f;

    const Wide4 pole = broadcast(SPLINE_POLE), minus_pole = broadcast(-SPLINE_POLE);
    Ties ties; /* the proof would find them */
    SquareSums sums = *beside;
    Wide4 y = broadcast(wide(0));
    for (int t = -WARM_UP; t < stretch; t += LANES) {
        Float4 block[LANES];
        TALV_UNROLL
        for (int l = 0; l < LANES; l++)
            block[l] = load4(x + l * stretch + t);
        transpose(block);
        TALV_UNROLL
        for (int i = 0; i < LANES; i++) {
            y = nearly_rounded(add_nearly(widened(block[i]), y, minus_pole), &ties);
            block[i] = narrowed(y);
        }
        sums.add_some();
        if (t < 0)
            continue;
        transpose(block);
        TALV_UNROLL
        for (int l = 0; l < LANES; l++)
            store4(forward + l * stretch + t, block[l]);
    }
    clear<REST + WARM_UP>(forward + count);

    y = broadcast(wide(0));
    for (int t = stretch + WARM_UP - LANES; t >= 0; t -= LANES) {
        Float4 block[LANES];
        TALV_UNROLL
        for (int l = 0; l < LANES; l++)
            block[l] = load4(forward + l * stretch + t);
        transpose(block);
        TALV_UNROLL
        for (int i = LANES - 1; i >= 0; i--) {
            y = nearly_rounded(add_nearly(pole * widened(block[i]), y, minus_pole), &ties);
            block[i] = narrowed(y);
        }
        sums.add_some();
        if (t >= stretch)
            continue;
        transpose(block);
        TALV_UNROLL
        for (int l = 0; l < LANES; l++)
            store4(backward + l * stretch + t, block[l]);
    }

    *beside = sums;

    int holds = ALL_LANES;
    for (int k = 0; k < count; k += LANES) {
        const int at = std::min(k, count - LANES); /* the last ones may be looked at twice */
        const Float4 f = load4(forward + at), b = load4(backward + at);
        const Wide4 f_due = minus_pole * load_wide(forward + at - 1) + load_wide(x + at);
        const Wide4 b_due = pole * (widened(f) - load_wide(backward + at + 1));
        holds &= equal_lanes(f, narrowed(f_due)) & equal_lanes(b, narrowed(b_due));
        store4(spline_coef - 1 + at, b);
    }
    return holds == ALL_LANES;
}

} // namespace

void cycle_fold(int P, int periods, const float *source, float *cycle) noexcept
{
    for (int j = 0; j < P; j++)
        cycle[j] = source[j];
    for (int i = 1; i < periods; i++)
        for (int j = 0; j < P; j++)
            cycle[j] += source[j + i * P];
    cycle[-1] = cycle[P - 1];
    cycle[P] = cycle[0];
    cycle[P + 1] = cycle[1];
}

namespace
{

/** The spline at j P / points, j < points; spline_coef as the passes leave it */
[[gnu::noinline]] void sample_spline(int P, const float *spline_coef, int points, float *out) noexcept
{
    const float step = static_cast<float>(P) / static_cast<float>(points); /* exact, and so is every j step */
    /* Cubic of each segment, a u^3 + b u^2 + c u + d. The passes have the gain 1/6 at 0 Hz and the polynomials carry a
     * factor 6. */
    Float4 cubic[LAG_MAX];
    const Wide4 three = broadcast(wide(3));
    for (int i = 0; i < P; i += LANES) {
        const int at = std::min(i, P - LANES); /* the last ones may be done twice */
        const float *coef = spline_coef + at;
        const Wide4 p0 = load_wide(coef - 1), p1 = load_wide(coef), p2 = load_wide(coef + 1), p3 = load_wide(coef + 2);
        Float4 block[LANES] = {narrowed(three * (p1 - p2) + p3 - p0),
                               narrowed(three * (p0 - broadcast(wide(2)) * p1 + p2)), narrowed(three * (p2 - p0)),
                               narrowed(p0 + broadcast(wide(4)) * p1 + p2)};
        transpose(block);
        std::copy_n(block, LANES, cubic + at);
    }
    const Wide4 further = broadcast(wide(step) * wide(LANES));
    Wide4 position = broadcast(wide(step)) * make_wide4(wide(0), wide(1), wide(2), wide(3));
    for (int j = 0; j < points; j += LANES, position = position + further) {
        const Int4 at = truncated(position);
        const Wide4 u = position - widened(at);
        Float4 block[LANES] = {cubic[at[0]], cubic[at[1]], cubic[at[2]], cubic[at[3]]};
        transpose(block);
        const Wide4 a = widened(block[0]), b = widened(block[1]), c = widened(block[2]), d = widened(block[3]);
        store_rounded(out + j, (add_exact(b, a, u) * u + c) * u + d);
    }
}

} // namespace

void cycle_resample(int P, const float *cycle, float *spline_coef, int points, float *out, SquareSums *beside) noexcept
{
    SquareSums none;
    if (CHAIN_AS_DEFINED || !spline_passes_quickly(P, cycle, spline_coef, beside != nullptr ? beside : &none))
        spline_passes(P, cycle, spline_coef);
    sample_spline(P, spline_coef, points, out);
}

void cycle_amplitudes(int harmonics, const Complex *spectrum, float *out) noexcept
{
    wide_t sum = 0;
    for (int k = 1; k <= harmonics; k++) {
        const wide_t re = wide(spectrum[k].re), im = wide(spectrum[k].im);
        const wide_t m = re * re + im * im;
        out[k - 1] = rounded(m);
        sum += m;
    }
    const float s = rounded(sum);
    const float g = s > 0.0f ? static_cast<float>(harmonics) / s : 0.0f;
    for (int k = 0; k < harmonics; k++)
        out[k] = rounded(std::sqrt(wide(out[k]) * wide(g)));
}

} // namespace talv::inline TALV_TARGET
