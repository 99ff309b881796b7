/** Instances of the codec and of the searching encoder, closed when they go out of scope */
#ifndef TALV_TOOLS_CODEC_H
#define TALV_TOOLS_CODEC_H

#include "failure.h"

#include <cstdint>
#include <talvcodec.h>
#include <talvsearch.h>

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

class Encoder
{
public:
    /** effort  0, the plain encoder, to TALV_SEARCH_EFFORT_MAX */
    explicit Encoder(int effort)
    {
        if (TALV_SearchOpen(&instance_, effort) != TALV_OK)
            throw Failure("encoder", "no memory");
    }
    ~Encoder() { TALV_SearchClose(instance_); }
    Encoder(const Encoder &) = delete;
    Encoder &operator=(const Encoder &) = delete;

    /** pcm I [TALV_FRAME_SAMPLES], frame O [TALV_FRAME_BYTES]; whether a frame was given: some efforts hold one back */
    bool encode(const int16_t *pcm, uint8_t *frame)
    {
        uint32_t nbytes;
        TALV_SearchEncode(instance_, pcm, frame, &nbytes);
        return nbytes > 0;
    }

    /** The next frame that is held back, if there is one */
    bool flush(uint8_t *frame)
    {
        uint32_t nbytes;
        TALV_SearchFlush(instance_, frame, &nbytes);
        return nbytes > 0;
    }

private:
    TALV_Search *instance_ = nullptr;
};

} // namespace talv

#endif
