/** Parameter tracks: a value for each of a frame's K subframes, from what the previous frame left to this frame's own
 *
 *  Reading the frame as the interval from 0 to 1: its lag, LSFs and amplitudes describe position 1, its gains the ends
 *  of the four quarters, its two periodicity values the positions 3/4 and 5/4. K is 3 to 12.
 */
#ifndef TALV_DECODER_TRACKS_H
#define TALV_DECODER_TRACKS_H

#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr float GAIN_ONSET = 3.0f; /* a squared gain that rises by this factor is followed at once */

/** Pitch-synchronous subframes: about two a pitch cycle
 *  lag        I             above 0
 *  frame_len  I
 *  k_min, k_max  I          limits of K
 *  factor     I             subframes a cycle
 *  K          O             frame_len factor / lag, rounded, limited
 *  bounds     O  [K+1]      subframe m covers [bounds[m], bounds[m+1]); the last one takes the remainder           */
void subframe_grid(int32_t lag, int32_t frame_len, int32_t k_min, int32_t k_max, float factor, int32_t *K,
                   int32_t *bounds) noexcept;

/** Lags, rounded to nearest; a change beyond a factor 1.5 takes effect from the first subframe
 *  prev, cur  I             lags of the previous subframe and of this frame
 *  out        O  [K]                                                                                              */
void pitch_interp(int32_t prev, int32_t cur, int32_t K, int32_t *out) noexcept;

/** Bend the upper half of the periodicity scale: x + 2.2222 (x - 0.5)^2 above 0.5, at most 1
 *  v          IO [count]                                                                                          */
void rs_expand(int32_t count, float *v) noexcept;

/** Periodicity values at the subframes' centres, piecewise linear
 *  hist       I  [-1 .. count]   previous frame's pair at -1 and 0, this frame's at 1 and 2 (count is 2)
 *  out        O  [K]             0..1                                                                             */
void rs_interp(int32_t count, const float *hist, int32_t K, float *out) noexcept;

/** AS vectors, linear: what is added to the previous frame's vector for the first subframe, and again for each of the
 *  others, to a running sum in float
 *  prev, cur  I  [dim]
 *  step       O  [dim]                                                                                            */
void as_step(int32_t dim, const float *prev, const float *cur, int32_t K, float *step) noexcept;

/** Gains at the subframes' ends
 *  g          IO [-1 .. count-1]  g[-1] last squared gain of the previous frame; g[0..count-1] are squared in place
 *  onset      I                   a rise by this factor or more is taken at once, not interpolated
 *  out        O  [K]              an RMS in the scale of 16-bit PCM                                               */
void gain_interp(int32_t count, float *g, int32_t K, float onset, float *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
