/** Coordinate descent: one field of a frame after the other, each set to what sounds best beside the others */
#ifndef TALV_SEARCH_DESCENT_H
#define TALV_SEARCH_DESCENT_H

#include "codec/frame.h"
#include "dsp/target.h"
#include "search/targets.h"
#include "search/trial.h"

namespace talv::inline TALV_TARGET
{

/** A frame's targets, each quantised by itself */
void quantise_targets(const Targets *targets, FrameParams *params) noexcept;

/** One pass over the fields of a frame
 *  pass  I   the first one, 0, starts from the targets; later ones look around what was chosen                      */
void descend(Trial *trial, int frame, int pass) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
