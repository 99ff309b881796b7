/** Correlations of a stretch of signal with its own past, for a range of lags
 *
 *  Samples are passed as doubles that hold floats, so that they are widened once and not at every use.
 */
#ifndef TALV_DSP_CORRELATE_H
#define TALV_DSP_CORRELATE_H

#include "dsp/target.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

/** out[i] = x[i] as a double, i < n */
void widen(const float *x, int n, wide_t *out) noexcept;

/** out[lag - lag_lo] = bias + sum over i < n of x[i] x[i - lag], for lag_lo <= lag <= lag_hi
 *  x       I  [-lag_hi .. n-1]    floats in value
 *  n       I                      samples of the stretch
 *  lag_lo  I                      at least 4: up to three lags below it are worked out too, and dropped
 *  out     O  [lag_hi - lag_lo + 1]
 *  Each sum starts from the bias, takes its terms in rising i in double, and is rounded once. Products of floats are
 *  exact in double, so the sums of neighbouring lags run side by side without changing a bit.                     */
void correlate_lags(const wide_t *x, int n, int lag_lo, int lag_hi, float bias, float *out) noexcept;

/** Energy of x[0..n), n at most 500: squares added in rising i in double, rounded once */
float energy(const float *x, int n) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
