/** Gain analysis */
#ifndef TALV_ENCODER_GAIN_H
#define TALV_ENCODER_GAIN_H

#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

/** Square roots of the RMS of windows that end with each segment
 *  signal    I  [length/segments - L .. length-1]   the windows reach into the past
 *  length    I
 *  P         I                pitch lag; a window is L samples long, the smallest multiple of P that is not below a
 *                             segment (at most 160 for lags 20..160)
 *  segments  I                always QUARTERS
 *  out       O  [segments]    fourth roots of the mean square: an RMS of 100 gives 10                            */
void subframe_rms(const float *signal, int length, int P, int segments, float *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
