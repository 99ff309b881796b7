// The header in C++ of 1998, with the static library: an instance opens, codes a frame and closes.
#include <talvcodec.h>

#include <cstdio>

int main()
{
    TALV_Codec *codec = 0;
    if (TALV_CodecOpen(&codec) != TALV_OK)
        return 1;
    int16_t pcm[TALV_FRAME_SAMPLES] = {0};
    uint8_t frame[TALV_FRAME_BYTES];
    uint32_t bytes = 0;
    const bool done = TALV_SpeechEncode(codec, pcm, frame, &bytes) == TALV_OK && bytes == TALV_FRAME_BYTES &&
                      TALV_SpeechDecode(codec, frame, pcm, &bytes) == TALV_OK;
    TALV_CodecClose(codec);
    if (!done)
        std::puts("failed: a frame of silence there and back");
    return done ? 0 : 1;
}
