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

/** A cycle's cubics a u^3 + b u^2 + c u + d, one a segment, floats in value */
struct Segments {
    wide_t a[LAG_MAX], b[LAG_MAX], c[LAG_MAX], d[LAG_MAX];
};

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

/** The same by quick chains; returns whether they hold (dsp/simd_chain.h) */
bool spline_passes_quickly(int P, const float *cycle, float *spline_coef) noexcept
{
    const int count = P + 3;
    wide_t forward[1 + LAG_MAX + 3];  /* the value before the first, then one a sample           */
    wide_t backward[LAG_MAX + 3 + 1]; /* one a sample, then the value before the first, the last */
    const Pair64 pole = twice(SPLINE_POLE);
    Pair64 y = twice(wide(0));
    forward[0] = wide(0);
    for (int k = 0; k < count; k++) {
        y = nearly_rounded(subtract_nearly(twice(wide(cycle[k - 1])), y, pole));
        forward[1 + k] = y[0];
    }
    y = twice(wide(0));
    backward[count] = wide(0);
    for (int k = count - 1; k >= 0; k--) {
        y = nearly_rounded(subtract_nearly(twice(SPLINE_POLE * forward[1 + k]), y, pole));
        backward[k] = y[0];
    }

    bool holds = true;
    for (int k = 0; k < count; k += LANES) {
        const int at = std::min(k, count - LANES); /* the last ones may be looked at twice */
        const Wide4 f = load(forward + 1 + at), b = load(backward + at);
        const Wide4 f_due = broadcast(-SPLINE_POLE) * load(forward + at) + load_wide(cycle - 1 + at);
        const Wide4 b_due = broadcast(SPLINE_POLE) * (f - load(backward + at + 1));
        holds = holds && (equal_lanes(f, rounded_wide(f_due)) & equal_lanes(b, rounded_wide(b_due))) == ALL_LANES;
        store_rounded(spline_coef - 1 + at, b);
    }
    return holds;
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

void cycle_resample(int P, const float *cycle, float *spline_coef, int points, float *out) noexcept
{
    const float step = static_cast<float>(P) / static_cast<float>(points); /* exact, and so is every j step */

    if (CHAIN_AS_DEFINED || !spline_passes_quickly(P, cycle, spline_coef))
        spline_passes(P, cycle, spline_coef);

    /* Cubic of each segment. The passes have the gain 1/6 at 0 Hz and the polynomials carry a factor 6. */
    Segments segment;
    int i = 0;
    for (; i + LANES <= P; i += LANES) {
        const Wide4 p0 = load_wide(spline_coef + i - 1), p1 = load_wide(spline_coef + i);
        const Wide4 p2 = load_wide(spline_coef + i + 1), p3 = load_wide(spline_coef + i + 2);
        const Wide4 three = broadcast(3.0);
        store(segment.a + i, rounded_wide(three * (p1 - p2) + p3 - p0));
        store(segment.b + i, rounded_wide(three * (p0 - broadcast(2.0) * p1 + p2)));
        store(segment.c + i, rounded_wide(three * (p2 - p0)));
        store(segment.d + i, rounded_wide(p0 + broadcast(4.0) * p1 + p2));
    }
    for (; i < P; i++) {
        const wide_t p0 = wide(spline_coef[i - 1]), p1 = wide(spline_coef[i]);
        const wide_t p2 = wide(spline_coef[i + 1]), p3 = wide(spline_coef[i + 2]);
        segment.a[i] = wide(rounded(3 * (p1 - p2) + p3 - p0));
        segment.b[i] = wide(rounded(3 * (p0 - 2 * p1 + p2)));
        segment.c[i] = wide(rounded(3 * (p2 - p0)));
        segment.d[i] = wide(rounded(p0 + 4 * p1 + p2));
    }
    for (int j = 0; j < points; j++) {
        const float position = static_cast<float>(j) * step;
        const int at = static_cast<int>(position);
        const wide_t u = wide(position - static_cast<float>(at));
        out[j] = rounded(((segment.a[at] * u + segment.b[at]) * u + segment.c[at]) * u + segment.d[at]);
    }
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
