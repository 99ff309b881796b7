/** Line spectral frequencies and LPC coefficients
 *
 *  An LSF vector holds `order` floats in radians, pi standing for 4000 Hz. Elements 0, 2, 4, ... are the roots of the
 *  sum polynomial A(z) + z^-11 A(1/z), elements 1, 3, 5, ... those of the difference polynomial A(z) - z^-11 A(1/z).
 *  An LPC vector holds a[0..order-1] without the leading 1: A(z) = 1 + sum a[j] z^-(j+1). The residual of a signal s is
 *  e[n] = s[n] + sum a[j] s[n-1-j], with the plus sign, and synthesis divides by A(z).
 *
 *  Source: Soong and Juang, "Line Spectrum Pair (LSP) and Speech Data Compression", ICASSP 1984;
 *          Itakura, "Line Spectrum Representation of Linear Predictive Coefficients", JASA 57, 1975.
 */
#ifndef TALV_DSP_LSF_H
#define TALV_DSP_LSF_H

#include "dsp/target.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

inline constexpr wide_t LSF_TOP = wide(3.14159);     /* top of the LSF range in radians: six digits of pi, by design */
inline constexpr float LSF_SPACING_ANALYSIS = 0.04f; /* least distance of neighbours after the analysis, radians     */
inline constexpr float LSF_SPACING_DECODED = 0.02f;  /* the same for a decoded vector                                */

/** Convert one LSF vector to one LPC vector
 *  order   I             even, at most 32
 *  lsf     I  [order]    radians
 *  lpc     O  [order]    must not overlap lsf
 *  return                0, or -1 when order is above 32 (lpc is then left as it was)
 *
 *  With S and D the products of the factors 1 - 2 cos(w) z^-1 + z^-2 over the even and the odd elements,
 *  A(z) = 1/2 (S(z) (1 + z^-1) + D(z) (1 - z^-1)). Coefficients are rounded to float after every factor.  */
int lsf_to_lpc(int order, const float *lsf, float *lpc) noexcept;

/** Walk from one LSF vector to another in equal steps and convert every step
 *  lsf_from, lsf_to  I  [order]
 *  order             I               even, at most 16
 *  steps             I               at least 1
 *  lpc               O  [steps][order]  vector s belongs to the point (s+1)/steps of the way; the last one is lsf_to
 *                                    up to the rounding of the running sum
 *  return            0, or -1 when order is above 16 (nothing is then written)                                      */
int intrp_lsf_lpc(const float *lsf_from, const float *lsf_to, int order, int steps, float *lpc) noexcept;

/** Bring an LSF vector in order, into range and to a least spacing, in place
 *  lsf      IO [order]   any finite values in; out: lsf[0] >= spacing, gaps >= spacing and
 *                        lsf[order-1] <= LSF_TOP - spacing, up to float rounding
 *  spacing  I            radians
 *  return   0, or -1 when LSF_TOP/(order+1) <= spacing, which cannot be met; lsf is then spread evenly over the range
 *
 *  A pair too close is opened around its midpoint as far as its outer neighbour allows, in a pass upwards and a pass
 *  downwards.                                                                                                       */
int lsf_stabilize(float *lsf, int order, float spacing) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
