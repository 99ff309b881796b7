/** What the search knows of the speech: the signal, its residual, and both low-passed
 *
 *  Time counts from the start of the frame that is about to be sent, in samples: that frame lies at [0, 240), the next
 *  one at [240, 480), and so on. The plain encoder delivers the signal, the residual and the envelopes. The newest
 *  block it has yet to analyse: its residual is taken with the newest envelope, and its end's envelope from the block
 *  itself, half a block early.
 */
#ifndef TALV_SEARCH_HISTORY_H
#define TALV_SEARCH_HISTORY_H

#include "codec/instance.h"
#include "dsp/constants.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int BLOCKS_MAX = 5;                      /* most blocks known, from the frame to be sent on */
inline constexpr int PAST = 360;                          /* samples kept of what lies before it             */
inline constexpr int FUTURE_MAX = BLOCKS_MAX * FRAME_LEN; /* and known after its start                       */

struct SpeechHistory {
    int blocks;                       /* known: 3 with the plain encoder's delay, one more for each frame held back */
    float sig[PAST + FUTURE_MAX];     /* conditioned signal                                                         */
    float res[PAST + FUTURE_MAX];     /* LPC residual                                                               */
    float low[PAST + FUTURE_MAX];     /* res after the 17-tap low-pass, without its delay: for the pitch            */
    float mid[PAST + FUTURE_MAX];     /* res after the 5-tap low-pass likewise: for the periodicity                 */
    float lsf[BLOCKS_MAX][LPC_ORDER]; /* envelope at the end of each block; that of the newest one is measured in it */
};

/** Where a moment stands in an array of the history */
inline const float *at(const float *array, int time) noexcept
{
    return array + PAST + time;
}

/** How much is known after time 0 */
inline int future(const SpeechHistory *history) noexcept
{
    return history->blocks * FRAME_LEN;
}

/** Silence
 *  blocks  I   3 to BLOCKS_MAX                                                                                      */
void history_reset(SpeechHistory *history, int blocks) noexcept;

/** Move on by a frame and take in what the encoder made of its newest block
 *  enc    I   after a call                                                                                         */
void history_advance(SpeechHistory *history, const EncoderState *enc) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
