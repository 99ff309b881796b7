/** Conversion of samples to 16 bits */
#ifndef TALV_DECODER_PCM_H
#define TALV_DECODER_PCM_H

#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

/** Round to nearest, ties to even; what does not fit 16 bits, NaN included, becomes -32768: there is no saturation
 *  x     I  [n]
 *  pcm   O  [n]                                                                                                   */
void pcm_round(int n, const float *x, int16_t *pcm) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
