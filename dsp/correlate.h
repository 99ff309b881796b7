/** Correlations of a stretch of signal with its own past, for a range of lags */
#ifndef TALV_DSP_CORRELATE_H
#define TALV_DSP_CORRELATE_H

namespace talv
{

/** out[lag - lag_lo] = bias + sum over i < n of x[i] x[i - lag], for lag_lo <= lag <= lag_hi
 *  n     I               samples of the stretch
 *  x     I  [-lag_hi .. n-1]
 *  out   O  [lag_hi - lag_lo + 1]
 *  Each sum starts from the bias, takes its terms in rising i in double, and is rounded once. Products of floats are
 *  exact in double, so the sums of neighbouring lags may run side by side without changing a bit.                 */
void correlate_lags(const float *x, int n, int lag_lo, int lag_hi, float bias, float *out) noexcept;

/** Energy of x[0..n): squares added in rising i in double, rounded once */
float energy(const float *x, int n) noexcept;

} // namespace talv

#endif
