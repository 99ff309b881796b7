/** Spectral envelope at the harmonics of a lag */
#ifndef TALV_DECODER_ENVELOPE_H
#define TALV_DECODER_ENVELOPE_H

#include "dsp/constants.h"
#include "dsp/fft.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int POLY_TERMS = LPC_ORDER + 3; /* A(z) times the second-order tilt factor */

/** The polynomial of an envelope: (1 + sum of lpc[j] z^-(j+1)) (1 + c1 z^-1 + c2 z^-2)
 *  lpc   I  [LPC_ORDER]
 *  poly  O  [POLY_TERMS]                                                                                         */
void tilted_poly(const float *lpc, float c1, float c2, float *poly) noexcept;

/** A polynomial on the unit circle at each harmonic: sum of poly[j] e^(-2 pi i j k / p)
 *  terms I            at most POLY_TERMS
 *  p     I            20 to 147
 *  out   O            elements 0 .. p/2, and what fills up the last group of four
 *  One sine and one cosine per lag; the others by v(m+1) = 2 cos(step) v(m) - v(m-1), rounded to float.          */
void lpc_spectrum(const float *poly, int terms, int p, Spectrum *out) noexcept;

inline constexpr int SPECTRA_MAX = 4;

/** The same for up to SPECTRA_MAX polynomials of POLY_TERMS terms and one lag: the sines and cosines, half the work of
 *  a single one, are common
 *  poly  I  [count][POLY_TERMS]
 *  out   O  [count]                                                                                               */
void lpc_spectra(const float (*poly)[POLY_TERMS], int count, int p, Spectrum *const *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
