/** Waveform interpolation: from a sequence of cycles to a continuous signal
 *
 *  Coefficient arrays are passed by a pointer to their index 0, with a guard at index -1, the n coefficients at 0..n-1
 *  and guards at n and n+1. Room for indices up to FFT_MAX + 1 is needed whatever n is: when the grid shrinks just as
 *  the old cycle is dropped, a few reads fall beyond the guards.
 *
 *  Source: Kleijn and Haagen, "Waveform Interpolation for Coding and Synthesis", in Speech Coding and Synthesis,
 *          Elsevier 1995; Unser, Aldroubi and Eden, "B-Spline Signal Processing", IEEE Trans. Signal Proc. 41, 1993.
 */
#ifndef TALV_DECODER_INTERPOLATE_H
#define TALV_DECODER_INTERPOLATE_H

#include "dsp/target.h"
#include "dsp/wide.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

/** Whether the old cycle is to be dropped instead of cross-faded
 *  True at a sudden loss of noisiness (by more than 0.5) and at a sudden rise of the level (beyond three times). */
bool continuity_break(float rs_before, float rs_now, float gain_before, float gain_now) noexcept;

/** Extend a cycle of n coefficients periodically by one element in front and two behind */
void set_guards(float *cycle, int n) noexcept;

/** Value of a periodic cubic B-spline: 6 times the uniform one, so a + 4b + c at whole positions
 *  coef  I     around the position: indices trunc(pos) - 1 .. trunc(pos) + 2 are read
 *  pos   I     in grid points, 0 or above                                                                        */
wide_t spline_value(const float *coef, wide_t pos) noexcept;

/** Read the old and the new cycle at one gliding speed and cross-fade from the first to the second
 *  n_old, n_new  I                grid sizes, 32, 64 or 128
 *  old_cycle, new_cycle  IO [-1 .. n+1]   guards are rewritten
 *  p_old, p_new  I                lags
 *  L             I                samples to write
 *  out           O  [L]           the first sample is the old cycle alone; the new one's weight ends at (L-1)/L. What
 *                                 fills up the last group of four is written too
 *  phase         IO               read position on the old grid in, on the new grid out; not reduced              */
void cw_interpolate(int n_old, int n_new, float *old_cycle, float *new_cycle, int p_old, int p_new, int L, float *out,
                    float *phase) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
