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

#include "decoder/envelope.h"
#include "decoder/excitation.h"
#include "dsp/constants.h"
#include "dsp/fft.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr float CYCLE_LEVEL = 0.6f; /* RMS of a cycle over its subframe's gain */

extern const Complex spline_table[FFT_MAX / 2 + 1]; /* inverse of the cubic B-spline: 1/(4 + 2 cos(2 pi i / 128))   */

/** Smallest power of two not below length, at most cap */
void fft_size_for(int length, int cap, int32_t *out) noexcept;

/** Divide the excitation by the envelope's polynomial and scale the whole to a level
 *  exc, lpc  I  [h+1]
 *  scale I            n g 0.6 / p gives a cycle of RMS 0.6 g on the grid
 *  out   O  [h+1]     may be exc                                                                                 */
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
