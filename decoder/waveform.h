/** Characteristic waveform synthesis: one pitch cycle of speech, built at the harmonics of the lag
 *
 *  p is the subframe's lag, h = p/2 its number of harmonics, n its grid size. Element k of a harmonic array belongs to
 *  harmonic k, at 2 pi k / p. Named scalars are floats; within an expression the arithmetic is double.
 *
 *  Source: Kleijn and Haagen, "Waveform Interpolation for Coding and Synthesis", in Speech Coding and Synthesis,
 *          Elsevier 1995.
 */
#ifndef TALV_DECODER_WAVEFORM_H
#define TALV_DECODER_WAVEFORM_H

#include "dsp/constants.h"
#include "dsp/fft.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr int POLY_TERMS = LPC_ORDER + 3; /* A(z) times the second-order tilt factor */
inline constexpr float CYCLE_LEVEL = 0.6f;       /* RMS of a cycle over its subframe's gain */
inline constexpr int PHASES = 128;

extern const float noise_poly_table[10][4];         /* cubic of the relative frequency, for periodicity 0, 1/9 .. 1 */
extern const Complex phase_table[PHASES];           /* unit phases: entries 0..72 fixed by harmonic, all for noise  */
extern const Complex spline_table[FFT_MAX / 2 + 1]; /* inverse of the cubic B-spline: 1/(4 + 2 cos(2 pi i / 128))   */

/** Noise magnitude of each harmonic: more towards high frequencies, and more for a larger periodicity value
 *  h     I            10..73
 *  cap   I            always MAX_HARMONICS
 *  rs    I            0 periodic .. 1 noise
 *  out   O  [cap+1]   0 at element 0 and above h                                                                */
void noise_profile(int h, int cap, float rs, float *out) noexcept;

/** Total magnitude wanted of each harmonic: as[] for the first `count`, 1.0 up to h, 0 above
 *  as    I  [count]
 *  out   O  [cap+1]                                                                                             */
void amp_profile(int count, const float *as, int h, int cap, float *out) noexcept;

/** Smallest power of two not below length, at most cap */
void fft_size_for(int length, int cap, int32_t *out) noexcept;

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

/** Excitation: a periodic part of fixed phases and a noise part of pseudo-random phases
 *  seed  IO           advances h steps of seed = ((seed + 1) 17) mod 4096
 *  amp, noise  I  [h+1]
 *  out   O  [h+1]     max(amp - noise, 0) P + noise Q, P and Q of unit magnitude; element 0 is 0                */
void mix_excitation(uint32_t *seed, int h, const float *amp, const float *noise, Complex *out) noexcept;

/** Divide the excitation by the envelope's polynomial and scale the whole to a level
 *  exc, lpc  I  [h+1]
 *  scale I            n g 0.6 / p gives a cycle of RMS 0.6 g on the grid
 *  out   O  [h+1]                                                                                               */
void spectrum_shape(int h, const Complex *exc, const Complex *lpc, float scale, Complex *out) noexcept;

/** On a grid longer than the cycle: clear the bins above h, and for even p halve bin h
 *  spec  IO [max(h, n/2) + 1]                                                                                   */
void spectrum_trim(int p, int n, Complex *spec) noexcept;

/** Multiply bins 0 to n/2 by the table, read with the stride size/n
 *  size  I            always FFT_MAX
 *  table I  [size/2 + 1]
 *  spec  IO [n/2 + 1]                                                                                           */
void spline_prefilter(int size, const Complex *table, int n, Complex *spec) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
