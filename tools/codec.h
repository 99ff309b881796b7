/** Decoder and encoder of a stream, closed when they go out of scope */
#ifndef TALV_TOOLS_CODEC_H
#define TALV_TOOLS_CODEC_H

#include "coded_in.h"
#include "failure.h"

#include <cstdint>
#include <talvcodec.h>
#include <talvhost.h>
#include <talvsearch.h>

namespace talv
{

/** The decoder of a stream as it came over a channel: it starts where a stream starts, and what was lost is replaced
 *  (talvhost.h), so that time is kept
 */
class Decoder
{
public:
    Decoder()
    {
        if (TALV_CodecOpen(&instance_) != TALV_OK)
            throw Failure("codec", "no memory");
        TALV_ConcealInit(&conceal_);
    }
    ~Decoder() { TALV_CodecClose(instance_); }
    Decoder(const Decoder &) = delete;
    Decoder &operator=(const Decoder &) = delete;

    /** frame IO of a lost one the bytes that stand in for it are put in; pcm O [TALV_FRAME_SAMPLES] */
    void decode(CodedFrame &frame, int16_t *pcm)
    {
        if (frame.start) {
            TALV_DecodeInit(instance_);
            TALV_ConcealInit(&conceal_);
        }
        if (frame.lost)
            TALV_ConcealLost(&conceal_, frame.bytes);
        else
            TALV_ConcealReceived(&conceal_, frame.bytes);
        uint32_t nbytes;
        TALV_SpeechDecode(instance_, frame.bytes, pcm, &nbytes);
    }

private:
    TALV_Codec *instance_ = nullptr;
    TALV_Conceal conceal_;
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
