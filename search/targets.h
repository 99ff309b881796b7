/** What a frame should say, measured where the decoder applies it
 *
 *  The plain encoder measures what it can settle with its delay; here each value is measured at the moment at which the
 *  decoder reaches it: lag, envelope and amplitudes at the frame's end, gains at the ends of the quarters, the
 *  periodicity at 3/4 and 5/4 of the frame.
 */
#ifndef TALV_SEARCH_TARGETS_H
#define TALV_SEARCH_TARGETS_H

#include "dsp/constants.h"
#include "dsp/target.h"
#include "search/history.h"
#include "search/lag_path.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

struct Targets {
    LagPoint pitch;
    float lsf[LPC_ORDER]; /* radians                                       */
    float gain[QUARTERS]; /* square roots of the RMS, as the codebook's     */
    float rs[RS_DIM];     /* periodicity, 0..1, before the decoder bends it */
    float as[AS_DIM];     /* mean square 1                                  */
};

/** Measure the targets of one frame
 *  frame    I   0 to history->blocks - 1. Of the newest one each value is measured as late as the signal known allows.
 *  targets  IO  pitch in, all else out                                                                              */
void measure_targets(const SpeechHistory *history, int frame, Targets *targets) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
