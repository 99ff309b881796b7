#include "decoder/interpolate.h"

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
    double pos_new;
};

/** While the longer lag is less than twice the shorter the speed runs from one to the other. Beyond, the shorter lag is
 *  taken r times, so that the speed stays near the longer lag.
 *  u  I  the carried position on the new grid                                                                        */
Glide plan_glide(int p_old, int p_new, int n_new, double u) noexcept
{
    if (p_new < p_old) {
        const int r = p_old / p_new;
        double pos = r * u;
        while (pos > n_new)
            pos -= n_new;
        return {1.0f / static_cast<float>(p_old), 1.0f / static_cast<float>(r * p_new), pos};
    }
    if (p_new > p_old) {
        const int r = p_new / p_old;
        return {1.0f / static_cast<float>(r * p_old), 1.0f / static_cast<float>(p_new), u / r};
    }
    const float f = 1.0f / static_cast<float>(p_old);
    return {f, f, u};
}

} // namespace

bool continuity_break(float rs_before, float rs_now, float gain_before, float gain_now) noexcept
{
    return wide(rs_before) - wide(rs_now) > 0.5 || 3.0 * wide(gain_before) < wide(gain_now);
}

double spline_value(const float *coef, double pos) noexcept
{
    const int i = static_cast<int>(pos);
    const double x = pos - i;
    const double a = wide(coef[i - 1]), b = wide(coef[i]), c = wide(coef[i + 1]), e = wide(coef[i + 2]);
    return (a + 4.0 * b + c) + x * (3.0 * (c - a) + x * (3.0 * (a + c - 2.0 * b) + x * (3.0 * (b - c) + e - a)));
}

void cw_interpolate(int n_old, int n_new, float *old_cycle, float *new_cycle, int p_old, int p_new, int L, float *out,
                    float *phase) noexcept
{
    set_guards(old_cycle, n_old);
    set_guards(new_cycle, n_new);

    const double w = 1.0 / L;
    const Glide glide = plan_glide(p_old, p_new, n_new, wide(*phase) / n_old * n_new);
    const float d = rounded(wide(glide.f1 - glide.f0) * w);
    float step_old = glide.f0 * static_cast<float>(n_old);
    float step_new = glide.f0 * static_cast<float>(n_new);
    const float ramp_old = d * static_cast<float>(n_old); /* grid sizes are powers of two: exact, like the steps */
    const float ramp_new = d * static_cast<float>(n_new);

    double pos_old = wide(*phase);
    double pos_new = glide.pos_new;
    float t = 0.0f; /* weight of the new cycle */
    for (int j = 0; j < L; j++) {
        if (pos_old >= n_old)
            pos_old -= n_old;
        const double A = wide(rounded(spline_value(old_cycle, pos_old)));
        if (pos_new >= n_new)
            pos_new -= n_new;
        const double B = spline_value(new_cycle, pos_new);
        pos_old += wide(step_old);
        pos_new += wide(step_new);
        out[j] = rounded(A + wide(t) * (B - A));
        step_new += ramp_new;
        step_old += ramp_old;
        t = rounded(wide(t) + w);
    }
    *phase = rounded(pos_new);
}

} // namespace talv::inline TALV_TARGET
