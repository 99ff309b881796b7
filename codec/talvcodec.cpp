#include "codec/talvcodec.h"

#include "codec/dispatch.h"
#include "codec/frame.h"
#include "codec/instance.h"
#include "decoder/decoder.h"
#include "encoder/encoder.h"

#include <cstdio>
#include <cstdlib>

static_assert(TALV_FRAME_SAMPLES == talv::FRAME_LEN && TALV_FRAME_BYTES == talv::FRAME_BYTES);

namespace
{
constexpr int32_t OPEN_TAG = 66;
}

extern "C" {

int32_t TALV_CodecOpen(TALV_Codec **handle) noexcept
{
    *handle = static_cast<TALV_Codec *>(std::calloc(1, sizeof(TALV_Codec)));
    if (*handle == nullptr) {
        std::printf("Failed to Open CODEC Instance");
        return TALV_NO_MEMORY;
    }
    TALV_EncodeInit(*handle);
    TALV_DecodeInit(*handle);
    (*handle)->tag = OPEN_TAG;
    (*handle)->routines = talv::choose_routines();
    return TALV_OK;
}

int32_t TALV_CodecClose(TALV_Codec *instance) noexcept
{
    std::free(instance);
    return TALV_OK;
}

int32_t TALV_EncodeInit(TALV_Codec *instance) noexcept
{
    talv::encoder_reset(&instance->enc);
    return TALV_OK;
}

int32_t TALV_DecodeInit(TALV_Codec *instance) noexcept
{
    talv::decoder_reset(&instance->dec);
    return TALV_OK;
}

int32_t TALV_SpeechEncode(TALV_Codec *instance, const int16_t *pcm, uint8_t *frame, uint32_t *bytes) noexcept
{
    *bytes = TALV_FRAME_BYTES;
    talv::FrameParams params;
    instance->routines->encoder_analyse(&instance->enc, pcm, &params);
    talv::frame_pack(&params, frame);
    return TALV_OK;
}

int32_t TALV_SpeechDecode(TALV_Codec *instance, const uint8_t *frame, int16_t *pcm, uint32_t *bytes) noexcept
{
    *bytes = TALV_FRAME_BYTES;
    talv::FrameParams params;
    talv::frame_unpack(frame, &params);
    instance->routines->decoder_synthesise(&instance->dec, &params, pcm);
    return TALV_OK;
}

} // extern "C"
