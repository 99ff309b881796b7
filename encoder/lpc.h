/** LPC analysis: from a block of conditioned speech to line spectral frequencies
 *
 *  Autocorrelation method: sine window, Levinson-Durbin recursion, and the roots of the sum and difference polynomials
 *  by a walk along x = cos(w) that looks for sign changes of their Chebyshev series.
 *
 *  Source: Makhoul, "Linear Prediction: A Tutorial Review", Proc. IEEE 63, 1975; Kabal and Ramachandran, "The
 *          Computation of Line Spectral Frequencies Using Chebyshev Polynomials", IEEE Trans. ASSP 34, 1986.
 */
#ifndef TALV_ENCODER_LPC_H
#define TALV_ENCODER_LPC_H

#include "dsp/table.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int ANALYSIS_MAX = 300; /* longest block   */
inline constexpr int ORDER_MAX = 16;     /* largest order   */

extern const Table<float, ANALYSIS_MAX> analysis_window; /* sin(pi i / 240), rounded to float, i < 240; 0 beyond */

/** LSFs of a block
 *  signal   I  [n]       conditioned speech
 *  n        I            order to ANALYSIS_MAX; the codec passes 240
 *  order    I            even, at most ORDER_MAX; the codec passes 10
 *  lsf      O  [order]   radians, ascending, at least LSF_SPACING_ANALYSIS apart
 *  return   0; -1 n too large; -2 order too large; -3 negative prediction error; -4 fewer than `order` roots found;
 *           -5 the vector could not be stabilised. After -4 lsf is partly written.
 *  Only -4 is met in practice: three LSFs within about 40 Hz, as a steady, nearly pure tone packs them, hide two
 *  roots of one polynomial in one step of the walk.                                                             */
int getlsf2(const float *signal, int n, int order, float *lsf) noexcept;

/** Window and autocorrelation: work[i] = window[i] x[i], r[lag] = sum work[i] work[i+lag]
 *  The running sum is rounded to float at every term, in rising i.
 *  r        O  [order+1]
 *  work     O  [n]                                                                                              */
void window_autocorr(const float *x, int n, float *r, int order, float *work, const float *window) noexcept;

/** Levinson-Durbin recursion
 *  r        I  [order+1]
 *  a        O  [order]   A(z) = 1 + sum a[j] z^-(j+1)
 *  return   the final prediction error. When it reaches 0 or less the recursion stops there, a keeps the stages
 *           before and the coefficients not reached are 0.                                                      */
float levinson(const float *r, int order, float *a) noexcept;

/** Roots of the sum and difference polynomials, alternately, from w = 0 upwards
 *  lsf      O  [order]   radians; not yet ordered or spaced by force
 *  a        I  [order]
 *  return   1 when all roots were found, -1 for an order above ORDER_MAX, -2 otherwise                          */
int lpc_to_lsf(float *lsf, const float *a, int order) noexcept;

/** sum of c[k] T_k(x), k < n, T_k being the Chebyshev polynomials of the first kind
 *  Clenshaw's recurrence with its state rounded to float at every step.                                         */
float cheb_eval(float x, const float *c, int n) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
