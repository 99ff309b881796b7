/** LPC analysis: from a block of conditioned speech to line spectral frequencies
 *
 *  Autocorrelation method: sine window, Levinson-Durbin recursion, then encoder/lsf_roots.h.
 *
 *  Source: Makhoul, "Linear Prediction: A Tutorial Review", Proc. IEEE 63, 1975.
 */
#ifndef TALV_ENCODER_LPC_H
#define TALV_ENCODER_LPC_H

#include "dsp/target.h"
#include "encoder/autocorr.h"
#include "encoder/lsf_roots.h"

namespace talv::inline TALV_TARGET
{

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

/** The same for a window of LPC_ORDER lags, all of whose samples have been taken in */
int getlsf2(Autocorr *window, float *lsf) noexcept;

/** Levinson-Durbin recursion
 *  r        I  [order+1]
 *  a        O  [order]   A(z) = 1 + sum a[j] z^-(j+1)
 *  return   the final prediction error. When it reaches 0 or less the recursion stops there, a keeps the stages
 *           before and the coefficients not reached are 0.                                                      */
float levinson(const float *r, int order, float *a) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
