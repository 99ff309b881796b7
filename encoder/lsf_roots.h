/** From LPC coefficients to line spectral frequencies
 *
 *  The roots of the sum and difference polynomials by a walk along x = cos(w) that looks for sign changes of their
 *  Chebyshev series.
 *
 *  Source: Kabal and Ramachandran, "The Computation of Line Spectral Frequencies Using Chebyshev Polynomials", IEEE
 *          Trans. ASSP 34, 1986.
 */
#ifndef TALV_ENCODER_LSF_ROOTS_H
#define TALV_ENCODER_LSF_ROOTS_H

#include "dsp/target.h"
#include "encoder/autocorr.h"

namespace talv::inline TALV_TARGET
{

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
