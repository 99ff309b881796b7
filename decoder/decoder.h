/** Decoder frame driver */
#ifndef TALV_DECODER_DECODER_H
#define TALV_DECODER_DECODER_H

#include "codec/frame.h"
#include "codec/instance.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

/** Put the decoder at the start of a stream */
void decoder_reset(DecoderState *dec) noexcept;

/** Synthesise the 240 samples that a frame describes
 *  params   I
 *  pcm      O  [FRAME_LEN]                                                                                        */
void decoder_synthesise(DecoderState *dec, const FrameParams *params, int16_t *pcm) noexcept;

} // namespace talv::inline TALV_TARGET

#endif
