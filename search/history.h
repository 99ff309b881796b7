/** What the search knows of the speech: the signal, its residual, and both low-passed
 *
 *  Time counts from the start of the frame that is about to be sent, in samples: that frame lies at [0, 240), the next
 *  one at [240, 480), and so on. The plain encoder delivers the signal and the residual; the residual of the newest
 *  block, which it has yet to work out, is taken with the newest envelope.
 */
#ifndef TALV_SEARCH_HISTORY_H
#define TALV_SEARCH_HISTORY_H

#include "codec/instance.h"
#include "dsp/constants.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int AHEAD_MAX = 2;                             /* most frames searched beyond the one to be sent   */
inline constexpr int FRAMES_MAX = AHEAD_MAX + 1;                /* that one and those                               */
inline constexpr int PAST = 360;                                /* samples kept of what lies before it              */
inline constexpr int FUTURE_MAX = (FRAMES_MAX + 1) * FRAME_LEN; /* known after it: one block more than is searched  */

struct SpeechHistory {
    int ahead;                        /* frames searched beyond the one to be sent                       */
    float sig[PAST + FUTURE_MAX];     /* conditioned signal                                              */
    float res[PAST + FUTURE_MAX];     /* LPC residual                                                    */
    float low[PAST + FUTURE_MAX];     /* res after the 17-tap low-pass, without its delay: for the pitch */
    float mid[PAST + FUTURE_MAX];     /* res after the 5-tap low-pass likewise: for the periodicity      */
    float lsf[FRAMES_MAX][LPC_ORDER]; /* envelope at the end of each frame                               */
};

/** Where the frame's sample 0 stands in an array of the history */
inline const float *at(const float *array, int time) noexcept
{
    return array + PAST + time;
}

/** How much is known after time 0 */
inline int future(const SpeechHistory *history) noexcept
{
    return (history->ahead + 2) * FRAME_LEN;
}

/** Silence
 *  ahead  I   1 to AHEAD_MAX                                                                                       */
void history_reset(SpeechHistory *history, int ahead) noexcept;

/** Move on by a frame and take in what the encoder made of its newest block
 *  enc    I   after a call                                                                                         */
void history_advance(SpeechHistory *history, const EncoderState *enc) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
