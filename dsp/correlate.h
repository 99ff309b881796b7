/** Correlations of a stretch of signal with its own past, for a range of lags
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
 *  x       I  [-lag_hi .. n-1]
 *  n       I                      samples of the stretch
 *  lag_lo  I                      at least 4: up to three lags below it are worked out too, and dropped
 *  out     O  [lag_hi - lag_lo + 1]
 *  Each sum starts from the bias, takes its terms in rising i in double, and is rounded once. Products of floats are
 *  exact in double, so the sums of neighbouring lags run side by side without changing a bit.                     */
void correlate_lags(const float *x, int n, int lag_lo, int lag_hi, float bias, float *out) noexcept;

/** Estimates of sums of products for a range of lags, in floats
 *  x       I  [-lag_hi .. n-1]
 *  n       I                      a multiple of 40
 *  lag_lo  I                      at least 8: up to seven lags below it are worked out too
 *  start   I  [count]             what the sums start from, 0 if null; count is lag_hi - lag_lo + 1, raised to a
 *                                 multiple of FLOATS
 *  near    O  [count]             by lag_hi - lag: the longest lag first; may be start
 *  The error is below (n + 1) / 2^24 of the sum of the products' magnitudes, and as much of start.                  */
void estimate_lags(const float *x, int n, int lag_lo, int lag_hi, const float *start, float *near) noexcept;

/** The same for SPLIT_LAGS lags over SPLIT_LEN samples, by fewer products
 *  x       I  [-lag_hi .. SPLIT_LEN-1]
 *  near    O  [SPLIT_LAGS]            by lag_hi - lag
 *  The error is below SPLIT_ERROR / 2^24 of the energy of x.                                                        */
inline constexpr int SPLIT_LEN = 80, SPLIT_LAGS = 144;
inline constexpr float SPLIT_ERROR = 184.0f;
void estimate_split_lags(const float *x, int lag_hi, float *near) noexcept;

/** near[k] = x[k] + y[k] for as many estimates as estimate_lags() gives */
void add_estimates(const float *x, const float *y, int lag_lo, int lag_hi, float *near) noexcept;

/** sum over i < n of x[i] y[i], n a multiple of 20: in another order than that of i, so that it may differ by
 *  SUM_ORDER_ERROR of the sum of magnitudes                                                                         */
wide_t dot_product(const float *x, const float *y, int n) noexcept;

/** Energy of x[0..n), n at most 500: squares added in rising i in double, rounded once */
float energy(const float *x, int n) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
