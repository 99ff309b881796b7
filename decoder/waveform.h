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
 *  exc, lpc  I        elements 0 .. h; what stands in the rest of the last group of four is read and not used
 *  scale I            n g 0.6 / p gives a cycle of RMS 0.6 g on the grid
 *  out   O            elements 0 .. h and what fills up the last group; may be exc                               */
void spectrum_shape(int h, const Spectrum *exc, const Spectrum *lpc, float scale, Spectrum *out) noexcept;

/** On a grid longer than the cycle: clear the bins above h, and for even p halve bin h
 *  spec  IO           bins up to max(h, n/2)                                                                     */
void spectrum_trim(int p, int n, Spectrum *spec) noexcept;

/** Multiply bins 0 to n/2 by the table, read with the stride size/n
 *  size  I            always FFT_MAX
 *  table I  [size/2 + 1]
 *  spec  IO           bins up to n/2; with the codec's own table what fills up the last group of four is changed too */
void spline_prefilter(int size, const Complex *table, int n, Spectrum *spec) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
