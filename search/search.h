/** Frame driver of the search */
#ifndef TALV_SEARCH_SEARCH_H
#define TALV_SEARCH_SEARCH_H

#include "codec/frame.h"
#include "codec/instance.h"
#include "dsp/target.h"
#include "search/history.h"
#include "search/lag_path.h"
#include "search/trial.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr int HELD_BACK_MAX = BLOCKS_MAX - 3;

/** All that a stream remembers */
struct SearchState {
    EncoderState enc;
    SpeechHistory history;
    LagPath path;
    FrameParams plain[HELD_BACK_MAX + 1]; /* the plain encoder's newest frames, the one for frame 0 first */
    Trial trial; /* before[0] mirrors the decoder; chosen, one frame on, is where the next call starts from */
};

/** Put the search at the start of a stream
 *  effort   I   1 to EFFORT_MAX                                                                                     */
void search_reset(SearchState *search, int effort) noexcept;

/** Take in 240 samples and describe the block delivered 2 + effort->held_back calls before
 *  pcm      I  [FRAME_LEN]
 *  params   O                                                                                                       */
void search_frame(SearchState *search, const int16_t *pcm, FrameParams *params) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
