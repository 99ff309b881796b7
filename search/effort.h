/** How much work the search spends on a frame */
#ifndef TALV_SEARCH_EFFORT_H
#define TALV_SEARCH_EFFORT_H

#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int FRAMES_MAX = 4;

struct Effort {
    int frames;    /* searched together: the one to be sent and those after it, up to FRAMES_MAX                     */
    int held_back; /* frames of delay beyond the plain encoder's; at most held_back + 3 frames can be searched       */
    int passes;    /* over the fields of the frame to be sent; 0: the measured targets, each quantised by itself     */
    int next_passes; /* over the fields of each frame after it                                                        */
    int pair_passes; /* that also move LSFs in pairs                                                                 */
    int gains;       /* length of the short list of each field                                                        */
    int envelopes;
    int amplitudes;
    int periodicities;
};

inline constexpr int EFFORT_MAX = 5;

/** effort  I   1 to EFFORT_MAX                                                                                      */
const Effort *effort_level(int effort) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
