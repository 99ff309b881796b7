/** Excitation spectrum: how much of each harmonic is periodic and how much is noise
 *
 *  h is the number of harmonics of the subframe's lag, half of it. Element k of an array belongs to harmonic k.
 */
#ifndef TALV_DECODER_EXCITATION_H
#define TALV_DECODER_EXCITATION_H

#include "dsp/constants.h"
#include "dsp/fft.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TABLES
{

inline constexpr int PHASES = 128;

extern const float noise_poly_table[10][4]; /* cubic of the relative frequency, for periodicity 0, 1/9 .. 1 */
extern const Complex phase_table[PHASES];   /* unit phases: entries 0..72 fixed by harmonic, all for noise  */

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

/** Noise magnitude of each harmonic: more towards high frequencies, and more for a larger periodicity value
 *  h     I            10..73
 *  cap   I            h to MAX_HARMONICS; up to three elements behind it may be written
 *  rs    I            0 periodic .. 1 noise
 *  out   O  [cap+1]   0 at element 0 and above h                                                                */
void noise_profile(int h, int cap, float rs, float *out) noexcept;

/** Total magnitude wanted of each harmonic: as[] for the first `count`, 1.0 up to h, 0 above
 *  as    I  [count]
 *  cap   I            h to MAX_HARMONICS; up to three elements behind it may be written
 *  out   O  [cap+1]                                                                                             */
void amp_profile(int count, const float *as, int h, int cap, float *out) noexcept;

inline constexpr int DRAWS = 80; /* MAX_HARMONICS, in whole groups of eight */

/** Pseudo-random phases: entries of phase_table for the harmonics 1 to h
 *  seed  IO           advances h steps of seed = ((seed + 1) 17) mod 4096
 *  h     I            1..DRAWS
 *  draw  O  [DRAWS]   draw[k-1] is that of harmonic k; whole groups of eight are written                         */
void draw_phases(uint32_t *seed, int h, uint16_t *draw) noexcept;

/** Excitation: a periodic part of fixed phases and a noise part of pseudo-random phases
 *  seed  IO           advances h steps of seed = ((seed + 1) 17) mod 4096
 *  amp, noise  I  [SPECTRUM_ROOM]
 *  out   O            max(amp - noise, 0) P + noise Q, P and Q of unit magnitude, up to harmonic h and what fills up
 *                     the last group of four; element 0 is 0                                                    */
void mix_excitation(uint32_t *seed, int h, const float *amp, const float *noise, Spectrum *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
