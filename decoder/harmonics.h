/** Four harmonics at a time: the excitation and its quotient by the envelope, for the blocks that build a spectrum */
#ifndef TALV_DECODER_HARMONICS_H
#define TALV_DECODER_HARMONICS_H

#include "decoder/excitation.h"
#include "dsp/fft.h"
#include "dsp/simd_float.h"
#include "dsp/target.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TABLES
{

/** phase_table by real and imaginary parts, as far as the periodic part goes */
struct PeriodicPhases {
    float re[SPECTRUM_ROOM], im[SPECTRUM_ROOM];
};

extern const PeriodicPhases periodic_phases;

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

/** Noise magnitude as a cubic of the relative frequency, the coefficients floats in value */
struct NoiseCurve {
    Wide4 c0, c1, c2, c3;
};

TALV_INLINE NoiseCurve noise_curve(float rs) noexcept
{
    constexpr int STEPS = 9;
    constexpr float LAST = 8.995f; /* the end of the scale stays inside the last pair of rows */
    float x = rounded(wide(STEPS) * wide(rs));
    if (x >= static_cast<float>(STEPS))
        x = LAST;
    const int i = static_cast<int>(x);
    const float f = x - static_cast<float>(i);
    const float g = 1.0f - f;
    const Wide4 lower = load_wide(noise_poly_table[i]), upper = load_wide(noise_poly_table[i + 1]);
    wide_t c[LANES];
    store(c, rounded_wide(add_exact(broadcast(wide(g)) * lower, broadcast(wide(f)), upper)));
    return {broadcast(c[0]), broadcast(c[1]), broadcast(c[2]), broadcast(c[3])};
}

TALV_INLINE Float4 noise_at(const NoiseCurve &curve, Wide4 w) noexcept
{
    return narrowed((add_exact(curve.c2, curve.c3, w) * w + curve.c1) * w + curve.c0);
}

/** k/h as a running sum of floats */
struct RelativeFrequency {
    float d, w; /* 1/h, and what comes next */
};

TALV_INLINE RelativeFrequency relative_frequency(int h) noexcept
{
    const float d = 1.0f / static_cast<float>(h);
    return {d, d};
}

TALV_INLINE Wide4 next_four(RelativeFrequency *frequency) noexcept
{
    const float d = frequency->d, w0 = frequency->w, w1 = w0 + d, w2 = w1 + d, w3 = w2 + d;
    frequency->w = w3 + d;
    return widened(Float4{w0, w1, w2, w3});
}

struct Bins {
    Float4 re, im;
};

/** max(amp - noise, 0) P + noise Q for the harmonics k .. k+3
 *  draw  I  [LANES]  which phases Q are                                                                             */
TALV_INLINE Bins mix_four(int k, Float4 amp, Float4 noise, const uint16_t *draw) noexcept
{
    const Wide4 v = widened(not_below_zero(amp - noise)), wide_noise = widened(noise);
    const Float4 Q01 = load_pairs(&phase_table[draw[0]].re, &phase_table[draw[1]].re);
    const Float4 Q23 = load_pairs(&phase_table[draw[2]].re, &phase_table[draw[3]].re);
    const Wide4 re = v * load_wide(periodic_phases.re + k), im = v * load_wide(periodic_phases.im + k);
    return {narrowed(add_exact(re, wide_noise, widened(even_lanes(Q01, Q23)))),
            narrowed(add_exact(im, wide_noise, widened(odd_lanes(Q01, Q23))))};
}

inline constexpr wide_t TINY = wide(1e-10); /* keeps the quotients finite where a divisor vanishes */

/** Four quotients exc/lpc, lpc from bin k on */
TALV_INLINE Bins divide_four(Bins exc, const Spectrum &lpc, int k) noexcept
{
    const Wide4 xr = widened(exc.re), xi = widened(exc.im);
    const Wide4 br = load_wide(lpc.re + k), bi = load_wide(lpc.im + k);
    const Wide4 D = rounded_wide(add_exact(br * br, bi, bi) + broadcast(TINY));
    return {narrowed(add_exact(br * xr, bi, xi) / D), narrowed(subtract_exact(br * xi, bi, xr) / D)};
}

/** The square of each one's magnitude */
TALV_INLINE Wide4 energy_of(Bins bins) noexcept
{
    const Wide4 re = widened(bins.re), im = widened(bins.im);
    return add_exact(re * re, im, im);
}

} // namespace talv::inline TALV_TARGET

#endif
