/* The conformance suite against a library that errs once. talv_conformance_faulty FAULT
 *
 * Stands between the suite and the codec: run.c is compiled here with other names for three of the functions. */
#include <stdint.h>
#include <string.h>
#include <talvcodec.h>

static const char *fault;
static int stream = -1, frame_of_stream;

static int32_t opened(TALV_Codec **handle)
{
    stream++;
    frame_of_stream = -1;
    return TALV_CodecOpen(handle);
}

static int is(const char *name)
{
    return strcmp(fault, name) == 0;
}

/* Stream 0 is kept whole, stream 3 by digests; both feed the encoder and the decoder. */
static int32_t encoded(TALV_Codec *instance, const int16_t *pcm, uint8_t *frame, uint32_t *bytes)
{
    int32_t status = TALV_SpeechEncode(instance, pcm, frame, bytes);
    frame_of_stream++;
    if (stream == 0 && frame_of_stream == 5 && is("lsf_index"))
        frame[2] ^= 0x01; /* bit 23: the lowest of lsf_index[4] */
    if (stream == 3 && frame_of_stream == 40 && is("gain_index"))
        frame[5] ^= 0x10; /* bit 43: the highest of gain_index[1] */
    if (stream == 3 && frame_of_stream == 41 && is("spare_bits"))
        frame[7] |= 0x02;
    if (stream == 1 && frame_of_stream == 2 && is("status"))
        status = 7;
    return status;
}

static int32_t decoded(TALV_Codec *instance, const uint8_t *frame, int16_t *pcm, uint32_t *bytes)
{
    const int32_t status = TALV_SpeechDecode(instance, frame, pcm, bytes);
    if (stream == 0 && frame_of_stream == 7 && is("whole_sample"))
        pcm[239] = (int16_t)(pcm[239] ^ 1);
    if (stream == 3 && frame_of_stream == 30 && is("digest"))
        pcm[100] = (int16_t)(pcm[100] ^ 1);
    return status;
}

#define TALV_CodecOpen opened
#define TALV_SpeechEncode encoded
#define TALV_SpeechDecode decoded
#define main suite
#include "../../conformance/run.c"
#undef main

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    fault = argv[1];
    return suite(1, argv);
}
