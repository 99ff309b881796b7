/** Scores of candidate lags: what pitch_search and rs_values have in common
 *
 *  With S the correlation of a block with the signal `lag` samples before, and E the energy of that signal, S^2 / E is
 *  how much of the block's energy the lagged signal predicts. The score favours short lags slightly, against multiples
 *  of the pitch.
 */
#ifndef TALV_ENCODER_LAG_SCORE_H
#define TALV_ENCODER_LAG_SCORE_H

#include "dsp/constants.h"
#include "dsp/target.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

inline constexpr wide_t LAG_WEIGHT = wide(0.003); /* score = (1 - LAG_WEIGHT lag) S^2/E      */
inline constexpr int LAGS_MAX = LAG_MAX + 1;      /* room of an array with an entry for each lag */
inline constexpr int ENERGIES_MAX = LAGS_MAX + 4; /* the same for slide_energy */

/** Energies of the block's lagged windows, slid along by a sample a lag, each update rounded to float
 *  x        I  [-lag_hi .. n-1]
 *  n        I                          at most 500
 *  lag_lo, lag_hi  I                   lag_lo at least LANES
 *  energy   O  [lag_hi - lag_lo + 1 + LANES]   by lag_hi - lag: in order of time, the longest lag first; what follows
 *                                      the last lag is not for use. As differences of sums they can fall below 0.
 *  return                              the energy of the block itself, of which the same holds                       */
float slide_energy(const float *x, int n, int lag_lo, int lag_hi, float *energy) noexcept;

/** The lag of the highest score, and its S^2/E, which is 0 where there is no energy
 *  S        I  [lag_hi - lag_lo + 1]   correlation sums by lag - lag_lo, 0 or above
 *  energy   I  [lag_hi - lag_lo + 1]   as from slide_energy
 *  q        O                          S^2/E
 *  return                              of equal scores the shortest lag                                             */
int best_lag(const float *S, const float *energy, int lag_lo, int lag_hi, wide_t *q) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
