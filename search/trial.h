/** Trials: what the decoder makes of a choice, and how far that is from the speech
 *
 *  The decoder is mirrored exactly, its noise generator included, so a trial hears just what will be played. A choice
 *  for a frame is judged by that frame and the one after it, whose start it decides with.
 */
#ifndef TALV_SEARCH_TRIAL_H
#define TALV_SEARCH_TRIAL_H

#include "codec/frame.h"
#include "codec/instance.h"
#include "dsp/target.h"
#include "search/effort.h"
#include "search/history.h"
#include "search/loudness.h"
#include "search/targets.h"

namespace talv::inline TALV_TARGET
{

/** The decoder before a frame, and the last samples it gave */
struct Mirror {
    DecoderState dec;
    float past[WINDOW_PAST]; /* before the rounding to 16 bits */
};

/** The frames at hand. Frame 0 is the one to be sent. */
struct Trial {
    const Effort *effort;
    int frames;
    Targets target[FRAMES_MAX];
    Loudness wanted[FRAMES_MAX];

    FrameParams chosen[FRAMES_MAX]; /* the best choice so far            */
    Mirror before[FRAMES_MAX + 1];  /* each frame, after the chosen ones */
    float cost[FRAMES_MAX];         /* of each chosen frame              */
    Float4 heard[FRAMES_MAX];       /* its total loudness by window      */
};

/** Decode a frame
 *  after   O   the mirror behind it; not `before`                                                                   */
void mirror_decode(const Mirror *before, const FrameParams *params, Mirror *after) noexcept;

/** Decode the chosen frames anew from one of them on, and work out their costs */
void settle(Trial *trial, int frame) noexcept;

/** Take another choice for a frame if it costs less, the frame after it included
 *  return   whether it was taken                                                                                    */
bool try_choice(Trial *trial, int frame, const FrameParams *params) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
