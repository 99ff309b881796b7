/* The smallest host of an installed library */
#include <talvcodec.h>

int main(void)
{
    TALV_Codec *codec;
    int16_t pcm[TALV_FRAME_SAMPLES] = {0};
    uint8_t frame[TALV_FRAME_BYTES];
    uint32_t bytes = 0;
    if (TALV_CodecOpen(&codec) != TALV_OK)
        return 1;
    TALV_SpeechEncode(codec, pcm, frame, &bytes);
    TALV_SpeechDecode(codec, frame, pcm, &bytes);
    TALV_CodecClose(codec);
    return bytes == TALV_FRAME_BYTES ? 0 : 2;
}
