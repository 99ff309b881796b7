#include "coder.h"

#include <cstdio>
#include <gsm.h>

namespace talv::bench
{

std::vector<Coder> gsm_coders()
{
    static_assert(sizeof(gsm_frame) <= MAX_FRAME_BYTES);
    const auto open = [] { return owned(gsm_create(), gsm_destroy, "GSM 06.10"); };
    return {{"GSM 06.10 (libgsm)", 160,
             [open] {
                 return [codec = open()](int16_t *pcm, uint8_t *frame) {
                     gsm_encode(codec.get(), pcm, frame);
                     return sizeof(gsm_frame);
                 };
             },
             [open] {
                 return [codec = open()](uint8_t *frame, size_t, int16_t *pcm) { gsm_decode(codec.get(), frame, pcm); };
             }}};
}

} // namespace talv::bench
