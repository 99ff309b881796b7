/* A program that carries frames, built on the installed package: one comes, one is lost. */
#include <talvcodec.h>
#include <talvhost.h>

int main(void)
{
    TALV_Codec *codec;
    TALV_Conceal conceal;
    TALV_FrameSound sound;
    int16_t pcm[TALV_FRAME_SAMPLES] = {0};
    uint8_t frame[TALV_FRAME_BYTES], instead[TALV_FRAME_BYTES];
    uint32_t bytes = 0;
    if (TALV_CodecOpen(&codec) != TALV_OK)
        return 1;
    TALV_ConcealInit(&conceal);
    TALV_SpeechEncode(codec, pcm, frame, &bytes);
    TALV_ConcealReceived(&conceal, frame);
    if (TALV_ConcealLost(&conceal, instead) != 1)
        return 2;
    TALV_SpeechDecode(codec, instead, pcm, &bytes);
    TALV_CodecClose(codec);
    TALV_FrameDescribe(frame, &sound);
    return sound.pitch_hz >= 54 && sound.pitch_hz <= 400 ? 0 : 3;
}
