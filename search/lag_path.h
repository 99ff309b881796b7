/** Pitch track of short delay
 *
 *  At a moment every PATH_STEP samples each lag has a score: the normalised correlation of two windows of the
 *  low-passed residual, a lag apart and centred on the moment together. The track is the sequence of lags with the least
 *  sum of what the scores lack of 1 and of what the changes cost, found by dynamic programming.
 *
 *  Source: Secrest and Doddington, "An Integrated Pitch Tracking Algorithm for Speech Systems", ICASSP 1983; Talkin,
 *          "A Robust Algorithm for Pitch Tracking (RAPT)", in Speech Coding and Synthesis, Elsevier 1995.
 */
#ifndef TALV_SEARCH_LAG_PATH_H
#define TALV_SEARCH_LAG_PATH_H

#include "dsp/constants.h"
#include "dsp/target.h"
#include "search/history.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr int LAGS = LAG_MAX_FRAME - LAG_MIN + 1; /* that a frame can send; element i is lag LAG_MIN + i */
inline constexpr int PATH_STEP = FRAME_LEN / 4;

/** What is kept from frame to frame */
struct LagPath {
    float cost[LAGS]; /* of the best track that ends in each lag at time 0, above the least of them */
};

/** The track at the end of a frame */
struct LagPoint {
    int32_t lag;       /* LAG_MIN..LAG_MAX_FRAME    */
    float score[LAGS]; /* of every lag there, -1..1 */
};

/** Correlation scores of all lags at one moment
 *  x      I  [-154 .. 153]   around the moment
 *  score  O  [LAGS]                                                                                                 */
void lag_scores(const float *x, float *score) noexcept;

/** Carry the track on through the next frame, looking ahead as far as the signal is known
 *  point  O  [history->blocks]   at the end of each block, or as near to it as the signal known allows              */
void lag_path_advance(LagPath *path, const SpeechHistory *history, LagPoint *point) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
