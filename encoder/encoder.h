/** Encoder frame driver */
#ifndef TALV_ENCODER_ENCODER_H
#define TALV_ENCODER_ENCODER_H

#include "codec/frame.h"
#include "codec/instance.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

/** Put the encoder at the start of a stream; lsf_new and the newest pitch entries keep what they hold */
void encoder_reset(EncoderState *enc) noexcept;

/** Take in 240 samples and describe the block delivered two calls before
 *  pcm      I  [FRAME_LEN]
 *  params   O
 *  Prints "getlsf2: Problem index = ..." to standard output when the LPC analysis finds no envelope; the previous
 *  envelope then stands in, and the frame is as valid as any.                                                     */
void encoder_analyse(EncoderState *enc, const int16_t *pcm, FrameParams *params) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
