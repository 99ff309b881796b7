/** Cycle amplitude analysis: from the residual around a moment to the magnitudes of its first ten harmonics
 *
 *  Arrays named as running from index -1 to P+1 are passed by a pointer to their index 0.
 *
 *  Source: Kleijn, "Encoding Speech Using Prototype Waveforms", IEEE Trans. Speech Audio Proc. 1, 1993; spline passes:
 *          Unser, Aldroubi and Eden, "B-Spline Signal Processing", IEEE Trans. Signal Proc. 41, 1993.
 */
#ifndef TALV_ENCODER_CYCLE_H
#define TALV_ENCODER_CYCLE_H

#include "dsp/constants.h"
#include "dsp/fft.h"
#include "dsp/target.h"
#include "encoder/gain.h"

namespace talv::inline TALV_TARGET
{

/** Add up `periods` cycles of P samples, at the fixed distance P, and set the guards of the periodic extension
 *  source   I  [periods P]
 *  cycle    O  [-1 .. P+1]   a sum, not a mean                                                                  */
void cycle_fold(int P, int periods, const float *source, float *cycle) noexcept;

/** Interpolate a cycle onto equidistant points by a cubic B-spline
 *  P            I                4..LAG_MAX
 *  cycle        I  [-1 .. P+1]   with its guards
 *  spline_coef  O  [-1 .. P+1]   work
 *  points       I                a power of two, 4 or more
 *  out          O  [points]      the value at position j P / points; at whole positions cycle[i] itself
 *  beside       IO               sums to go on with meanwhile, or null                                          */
void cycle_resample(int P, const float *cycle, float *spline_coef, int points, float *out,
                    SquareSums *beside = nullptr) noexcept;

/** Magnitudes of harmonics 1 to `harmonics`, scaled to a mean square of 1
 *  spectrum  I  [harmonics+1]
 *  out       O  [harmonics]      all zero when all the bins are zero                                            */
void cycle_amplitudes(int harmonics, const Complex *spectrum, float *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
