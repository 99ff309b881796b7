/** Scores of candidate lags: what pitch_search and rs_search have in common
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

/** Energies of the block's lagged windows, slid along by a sample a lag, each update rounded to float
 *  x        I  [-lag_hi .. n-1]
 *  energy   O  [lag_hi - lag_lo + 1]   by lag - lag_lo; infinity in the place of what is not above 0, which makes every
 *                                      quotient 0
 *  return                              the energy of the block itself; as a difference of sums it can end below 0    */
float slide_energy(const float *x, int n, int lag_lo, int lag_hi, wide_t *energy) noexcept;

/** The lag of the highest score, and its S^2/E
 *  S        I  [lag_hi - lag_lo + 1]   correlation sums by lag - lag_lo, 0 or above
 *  energy   I  [lag_hi - lag_lo + 1]   from slide_energy
 *  q        O                          S^2/E
 *  return                              of equal scores the shortest lag                                             */
int best_lag(const float *S, const wide_t *energy, int lag_lo, int lag_hi, wide_t *q) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
