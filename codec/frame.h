/** The 8-byte frame and its unpacked content
 *
 *  60 bits carry data, most significant bit of a field first, bit 0 of the frame being the most significant bit of
 *  byte 0:  pitch 7 | LSF 4 4 3 3 3 3 3 3 3 2 | gain 5 5 | periodicity 5 | amplitudes 7 | four zero bits.
 *  There is no header, no synchronisation and no check: every pattern decodes.
 */
#ifndef TALV_CODEC_FRAME_H
#define TALV_CODEC_FRAME_H

#include "dsp/constants.h"

#include <cstdint>

namespace talv
{

inline constexpr int FRAME_BITS = 60;

/** What a frame says: fourteen indices */
struct FrameParams {
    int32_t pitch_index;          /* 0..127: lag - LAG_MIN                                   */
    int32_t lsf_index[LPC_ORDER]; /* element k below 2^lsf_level_bits[k] (dsp/lsf_quant.h)   */
    int32_t gain_index[2];        /* 0..31: one row of each stage of gain_codebook           */
    int32_t rs_index;             /* 0..31: row of rs_codebook                               */
    int32_t as_index;             /* 0..127: row of as_codebook                              */
};

/** Indices to bytes; the last four bits are written as 0
 *  frame     O  [FRAME_BYTES]                                                               */
void frame_pack(const FrameParams *params, uint8_t *frame) noexcept;

/** Bytes to indices; the last four bits are not read
 *  frame     I  [FRAME_BYTES]                                                               */
void frame_unpack(const uint8_t *frame, FrameParams *params) noexcept;

} // namespace talv

#endif
