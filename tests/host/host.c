/* The loop of the header's manual: a stream with a hole in it goes on in time, falls silent and comes back. */
#include <stdio.h>
#include <stdlib.h>
#include <talvhost.h>

static double power_of(const int16_t *pcm)
{
    double sum = 0;
    int i;
    for (i = 0; i < TALV_FRAME_SAMPLES; i++)
        sum += (double)pcm[i] * pcm[i];
    return sum / TALV_FRAME_SAMPLES;
}

int main(void)
{
    static int16_t in[TALV_FRAME_SAMPLES], pcm[TALV_FRAME_SAMPLES];
    uint8_t frame[TALV_FRAME_BYTES];
    double power[60];
    uint32_t bytes;
    TALV_Codec *codec;
    TALV_Conceal conceal;
    int t, i;

    if (TALV_CodecOpen(&codec) != TALV_OK)
        return 1;
    TALV_ConcealInit(&conceal);
    for (t = 0; t < 60; t++) {
        for (i = 0; i < TALV_FRAME_SAMPLES; i++) /* a pulse train of 100 Hz */
            in[i] = (int16_t)((t * TALV_FRAME_SAMPLES + i) % 80 < 4 ? 12000 : -600);
        TALV_SpeechEncode(codec, in, frame, &bytes);
        if (t >= 20 && t < 40)
            TALV_ConcealLost(&conceal, frame);
        else
            TALV_ConcealReceived(&conceal, frame);
        TALV_SpeechDecode(codec, frame, pcm, &bytes);
        power[t] = power_of(pcm);
    }
    TALV_CodecClose(codec);
    if (!(power[20] > power[19] / 4 && power[35] < 4 && power[55] > power[19] / 4)) {
        printf("got %g, %g, %g beside %g; wanted a hold, silence, and the voice again\n", power[20], power[35],
               power[55], power[19]);
        return 1;
    }
    return 0;
}
