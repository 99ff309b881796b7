/* The codec on a bare machine: one instance in static memory, speech in and out a frame at a time */
#include "static_memory.h"

#include <stdint.h>
#include <talvcodec.h>

/* In place of these: the converter's buffers, filled and emptied every 30 ms. */
static int16_t microphone[TALV_FRAME_SAMPLES], loudspeaker[TALV_FRAME_SAMPLES];

int main(void)
{
    TALV_Codec *codec;
    uint8_t frame[TALV_FRAME_BYTES];
    uint32_t bytes;
    int n = 0, heard = 0;

    if (TALV_CodecOpen(&codec) != TALV_OK)
        return 1;
    for (int t = 0; t < 20; t++) {
        for (int i = 0; i < TALV_FRAME_SAMPLES; i++, n++)
            microphone[i] = (int16_t)(n % 57 < 4 ? 9000 : -600); /* a buzz at 140 Hz */
        TALV_SpeechEncode(codec, microphone, frame, &bytes);
        TALV_SpeechDecode(codec, frame, loudspeaker, &bytes);
        for (int i = 0; i < TALV_FRAME_SAMPLES; i++)
            heard |= loudspeaker[i] > 3000;
    }
    TALV_CodecClose(codec);
    say(heard ? "the buzz was heard\n" : "nothing was heard\n");
    return heard ? 0 : 1;
}
