/** Blocks of PCM from a few bytes each: the signals that strain an encoder, and the bytes themselves */
#ifndef TALV_FUZZ_PCM_H
#define TALV_FUZZ_PCM_H

#include "dsp/constants.h"
#include "input.h"

namespace talv::fuzz
{

/** The next block
 *  pcm  IO [FRAME_LEN]   the block before in, this one out */
void make_block(Input &in, int16_t *pcm) noexcept;

} // namespace talv::fuzz

#endif
