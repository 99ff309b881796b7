/** How much work the search spends on a frame */
#ifndef TALV_SEARCH_EFFORT_H
#define TALV_SEARCH_EFFORT_H

#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

struct Effort {
    int ahead;  /* frames searched beyond the one to be sent, 1 to AHEAD_MAX: each beyond the first delays by one */
    int passes; /* over the fields of the frame to be sent; 0: the measured targets, each quantised by itself     */
    int next_passes; /* over the fields of each frame after it                                                        */
    int lags;        /* lags on either side of the track to try                                                       */
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
