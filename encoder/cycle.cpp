#include "encoder/cycle.h"

#include "dsp/wide.h"

#include <cmath>

namespace talv
{

namespace
{
constexpr double SPLINE_POLE = 0.267949192; /* 2 - sqrt(3): the pole of the cubic B-spline's inverse filter */
}

void cycle_fold(int P, int periods, const float *source, float *cycle) noexcept
{
    for (int j = 0; j < P; j++) {
        float sum = 0.0f;
        for (int i = 0; i < periods; i++)
            sum += source[j + i * P];
        cycle[j] = sum;
    }
    cycle[-1] = cycle[P - 1];
    cycle[P] = cycle[0];
    cycle[P + 1] = cycle[1];
}

void cycle_resample(int P, const float *cycle, float *spline_coef, int points, float *out) noexcept
{
    const float step = static_cast<float>(P) / static_cast<float>(points); /* exact, and so is every j step */

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

    /* The passes have the gain 1/6 at 0 Hz and the polynomial of a segment carries a factor 6. */
    int j = 0;
    for (int i = 0; i < P; i++) {
        const double p0 = wide(spline_coef[i - 1]), p1 = wide(spline_coef[i]);
        const double p2 = wide(spline_coef[i + 1]), p3 = wide(spline_coef[i + 2]);
        const float a = rounded(3.0 * (p1 - p2) + p3 - p0);
        const float b = rounded(3.0 * (p0 - 2.0 * p1 + p2));
        const float c = rounded(3.0 * (p2 - p0));
        const float d = rounded(p0 + 4.0 * p1 + p2);
        for (; j < points && static_cast<float>(j) * step < static_cast<float>(i + 1); j++) {
            const double u = wide(static_cast<float>(j) * step - static_cast<float>(i));
            out[j] = rounded(((wide(a) * u + wide(b)) * u + wide(c)) * u + wide(d));
        }
    }
}

void cycle_amplitudes(int harmonics, const Complex *spectrum, float *out) noexcept
{
    double sum = 0.0;
    for (int k = 1; k <= harmonics; k++) {
        const double re = wide(spectrum[k].re), im = wide(spectrum[k].im);
        const double m = re * re + im * im;
        out[k - 1] = rounded(m);
        sum += m;
    }
    const float s = rounded(sum);
    const float g = s > 0.0f ? static_cast<float>(harmonics) / s : 0.0f;
    for (int k = 0; k < harmonics; k++)
        out[k] = rounded(std::sqrt(wide(out[k]) * wide(g)));
}

} // namespace talv
