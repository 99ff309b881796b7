/** An instance of the codec, closed when it goes out of scope */
#ifndef TALV_TOOLS_CODEC_H
#define TALV_TOOLS_CODEC_H

#include "failure.h"

#include <cstdint>
#include <talvcodec.h>

namespace talv
{

class Codec
{
public:
    Codec()
    {
        if (TALV_CodecOpen(&instance_) != TALV_OK)
            throw Failure("codec", "no memory");
    }
    ~Codec() { TALV_CodecClose(instance_); }
    Codec(const Codec &) = delete;
    Codec &operator=(const Codec &) = delete;

    /** pcm I [TALV_FRAME_SAMPLES], frame O [TALV_FRAME_BYTES] */
    void encode(const int16_t *pcm, uint8_t *frame)
    {
        uint32_t nbytes;
        TALV_SpeechEncode(instance_, pcm, frame, &nbytes);
    }

    /** frame I [TALV_FRAME_BYTES], pcm O [TALV_FRAME_SAMPLES] */
    void decode(const uint8_t *frame, int16_t *pcm)
    {
        uint32_t nbytes;
        TALV_SpeechDecode(instance_, frame, pcm, &nbytes);
    }

    /** Put the decoder back to the start of a stream */
    void restart_decoder() { TALV_DecodeInit(instance_); }

private:
    TALV_Codec *instance_ = nullptr;
};

} // namespace talv

#endif
