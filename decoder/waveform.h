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

namespace talv::inline TALV_TABLES
{

extern const Complex spline_table[FFT_MAX / 2 + 1]; /* inverse of the cubic B-spline: 1/(4 + 2 cos(2 pi i / 128))   */

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

inline constexpr float CYCLE_LEVEL = 0.6f; /* RMS of a cycle over its subframe's gain */

/** Smallest power of two not below length, at most cap */
void fft_size_for(int length, int cap, int32_t *out) noexcept;

/** Divide the excitation by the envelope's polynomial and scale the whole to a level
 *  exc, lpc  I        elements 0 .. h; what stands in the rest of the last group of four is read and not used
 *  scale I            n g 0.6 / p gives a cycle of RMS 0.6 g on the grid
 *  out   O            elements 0 .. h and what fills up the last group; may be exc                               */
void spectrum_shape(int h, const Spectrum *exc, const Spectrum *lpc, float scale, Spectrum *out) noexcept;

inline constexpr int AMP_ROOM = 16; /* AS_DIM in whole groups of four, and one more */

/** Excitation over envelope at every harmonic, but for the scale: noise_profile(), amp_profile(), mix_excitation() and
 *  the quotients of spectrum_shape() in one go, for one or two subframes of one lag
 *  seed  IO                      advances h steps for each subframe
 *  h     I                       10..73
 *  rs    I  [count]              0 periodic .. 1 noise
 *  amp   I  [count][AMP_ROOM]    total magnitude wanted of the harmonics 1 to AS_DIM, then 1.0
 *  spec  IO [count]              the envelope's polynomial in, the quotients and what fills up the last group of four
 *                                out
 *  energy O [count]              the quotients' energy, of which level_factors() makes the scale                  */
void divide_excitations(uint32_t *seed, int count, int h, const float *rs, const float (*amp)[AMP_ROOM],
                        Spectrum *const *spec, float *energy) noexcept;

/** What brings quotients to their level, subframe by subframe: h s sqrt(2/E), s = n g CYCLE_LEVEL / p
 *  p, n, gain  I  [count]   lags, grid sizes, gains
 *  energy      I  [count]   what divide_excitations() gave
 *  factor      O  [count]                                                                                         */
void level_factors(int count, const int32_t *p, const int32_t *n, const float *gain, const float *energy,
                   float *factor) noexcept;

/** Bring quotients to a level and make the spline's spectrum of them: the scale of spectrum_shape(), spectrum_trim() and
 *  spline_prefilter() in one go
 *  F     I            of level_factors()
 *  spec  IO           bins up to n/2 and what fills up the last group of four                                     */
void finish_spectrum(int p, int n, float F, Spectrum *spec) noexcept;

/** On a grid longer than the cycle: clear the bins above h, and for even p halve bin h
 *  spec  IO           bins up to max(h, n/2); what fills up the last group of four is cleared too                */
void spectrum_trim(int p, int n, Spectrum *spec) noexcept;

/** Multiply bins 0 to n/2 by the table, read with the stride size/n
 *  size  I            always FFT_MAX
 *  table I  [size/2 + 1]
 *  spec  IO           bins up to n/2                                                                             */
void spline_prefilter(int size, const Complex *table, int n, Spectrum *spec) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
