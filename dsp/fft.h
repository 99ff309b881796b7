/** Real Fourier transform and its inverse, sizes 4 to 128
 *
 *  A transform of n real points runs as one complex radix-2 transform of n/2 points, with a split step after it
 *  (forward) or a merge step before it (inverse). Spectra are unscaled: X[k] = sum x[i] e^(-2 pi j i k / n), bins 0 to
 *  n/2, so n/2 + 1 complex values. Both routines read the tables of the largest size with a stride.
 *
 *  Source: Cooley, Lewis and Welch, "The Fast Fourier Transform Algorithm: Programming Considerations in the
 *          Calculation of Sine, Cosine and Laplace Transforms", J. Sound Vib. 12, 1970.
 */
#ifndef TALV_DSP_FFT_H
#define TALV_DSP_FFT_H

#include "dsp/constants.h"
#include "dsp/table.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TABLES
{

struct Complex {
    float re, im;
};

inline constexpr int SPECTRUM_ROOM = LAG_MAX_FRAME / 2 + 5; /* bins up to the highest harmonic and four more */

extern const Table<int32_t, FFT_MAX> fft_bitrev;  /* k with its 7 bits reversed; only entries below 64 are read */
extern const Table<Complex, FFT_MAX> fft_twiddle; /* e^(-2 pi j t / 128), to six decimals; entries below 64 are read */

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

/** A spectrum to be turned into a cycle: bin or harmonic k is element k */
struct Spectrum {
    float re[SPECTRUM_ROOM], im[SPECTRUM_ROOM];
};

/** Spectrum of a real sequence
 *  samples   I  [n]          must not overlap spectrum
 *  spectrum  O  [n/2 + 1]    imaginary parts of bins 0 and n/2 are exact zeros
 *  n         I               a power of two, 4 to size_max
 *  size_max  I               size of the tables
 *  bitrev, twiddle  I  [size_max]                                                                                 */
void real_fft(const float *samples, Complex *spectrum, int n, int size_max, const int32_t *bitrev,
              const Complex *twiddle) noexcept;

/** Real sequence of a spectrum: the inverse of real_fft, with the factor 1/n
 *  spectrum  I               bins 0 .. n/2; imaginary parts of bins 0 and n/2 are not read
 *  samples   O  [n]                                                                                                */
void real_ifft(const Spectrum *spectrum, float *samples, int n, int size_max, const int32_t *bitrev,
               const Complex *twiddle) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
