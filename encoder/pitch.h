/** Pitch: low-pass of the residual, search of the best lag of a block, and settling of the lag by its neighbours
 *
 *  Source: Rabiner and Schafer, Digital Processing of Speech Signals, 1978, on correlation pitch detectors; Markel,
 *          "The SIFT Algorithm for Fundamental Frequency Estimation", IEEE Trans. Audio Electroacoust. 20, 1972, on
 *          low-passed LPC residuals.
 */
#ifndef TALV_ENCODER_PITCH_H
#define TALV_ENCODER_PITCH_H

#include "dsp/constants.h"
#include "dsp/target.h"
#include "encoder/lag_search.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr int LP_ORDER = 8; /* half-length of the pitch branch's low-pass: 17 taps */
inline constexpr int RS_ORDER = 2; /* of the periodicity branch's low-pass: 5 taps     */

extern const float lp_taps[LP_ORDER + 1]; /* centre first; gain 4.4831 at 0 Hz, -3 dB at 630 Hz  */

/** Symmetric FIR filter of 2 order + 1 taps, delay `order` samples
 *  out = taps[0] h[N] + sum over k = 1..N of taps[k] (h[N+k] + h[N-k]), N = order, h[j] the input j samples ago
 *  order    I               half-length: LP_ORDER or RS_ORDER
 *  taps     I  [order+1]    centre first
 *  n        I               2 order to FRAME_LEN, a multiple of 4
 *  in       I  [n]          must not overlap out
 *  out      O  [n]
 *  state    IO [2 order+1]  a work cell, then the last 2 order inputs, newest first                              */
void sym_fir(int order, const float *taps, int n, const float *in, float *out, float *state) noexcept;

/** Best lag of a block
 *  nseg     I               segments, at most MAX_SEGMENTS
 *  n        I               block length
 *  lag_min, lag_max  I      within LAG_MIN..LAG_MAX
 *  x        I  [-lag_max .. n-1]
 *  pitch    O               lag_min..lag_max, the winning lag plus the drift of the last segment
 *  corr     O               its normalised correlation, 0..1
 *  A block without energy gives lag_min and 0.                                                                  */
void pitch_search(int nseg, int n, int lag_min, int lag_max, const float *x, int32_t *pitch, float *corr) noexcept;

/** Settle the middle one of three lags by its neighbours, and shift the lists
 *  corr     IO [3]          correlations, newest last; a block is voiced from 0.5 on
 *  pitch    IO [3]          lags; only the middle one may change
 *  out      O               the settled lag                                                                     */
void pitch_track(float *corr, int32_t *pitch, int32_t *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
