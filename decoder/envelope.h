/** Spectral envelope at the harmonics of a lag */
#ifndef TALV_DECODER_ENVELOPE_H
#define TALV_DECODER_ENVELOPE_H

#include "dsp/constants.h"
#include "dsp/fft.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int POLY_TERMS = LPC_ORDER + 3; /* A(z) times the second-order tilt factor */

/** Multiply a polynomial by 1 + c1 z^-1 + c2 z^-2
 *  poly  IO [count+2]  `count` terms in, count + 2 terms out                                                    */
void poly_mul2(int count, float *poly, float c1, float c2) noexcept;

/** A polynomial on the unit circle at each harmonic: sum of poly[j] e^(-2 pi i j k / p)
 *  terms I            at most POLY_TERMS
 *  p     I            20 to 147
 *  out   O  [p/2+1]
 *  One sine and one cosine per call; the others by v(m+1) = 2 cos(step) v(m) - v(m-1), rounded to float.        */
void lpc_spectrum(const float *poly, int terms, int p, Complex *out) noexcept;

/** The same for two polynomials and one lag, at little more than the cost of one */
void lpc_spectrum_two(const float *poly0, const float *poly1, int terms, int p, Complex *out0, Complex *out1) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
