/** Choice of the copy of the blocks that suits the processor
 *
 *  The two frame drivers and all blocks below them are compiled for every machine of the architecture and, on x86-64, a
 *  second time for those with AVX2 and fused operations. Both give the same bits; an instance keeps to the one that was
 *  chosen when it was opened.
 */
#ifndef TALV_CODEC_DISPATCH_H
#define TALV_CODEC_DISPATCH_H

#include "codec/frame.h"
#include "codec/instance.h"

#include <cstdint>

namespace talv
{

/** The frame drivers of one target (encoder/encoder.h, decoder/decoder.h) */
struct FrameRoutines {
    void (*encoder_analyse)(EncoderState *enc, const int16_t *pcm, FrameParams *params) noexcept;
    void (*decoder_synthesise)(DecoderState *dec, const FrameParams *params, int16_t *pcm) noexcept;
};

extern const FrameRoutines baseline_routines;
#ifdef TALV_WITH_AVX2
extern const FrameRoutines avx2_routines;
#endif

/** The fastest routines that this processor can run */
const FrameRoutines *choose_routines() noexcept;

} // namespace talv

#endif
