/* A host in plain C with nothing but the library's header.
 *
 *   c99_host                  a round trip of 100 frames; what each function returns and stores is tested
 *   c99_host INPUT OUTPUT     the same round trip, written as raw samples: what went in and what came out
 */
#include <talvcodec.h>
#include <talvcodec.h> /* twice, which must do no harm */

#include <stdio.h>
#include <string.h>

#if TALV_FRAME_SAMPLES != 240 || TALV_FRAME_BYTES != 8 || TALV_SAMPLE_RATE != 8000 || TALV_DELAY_SAMPLES != 480
#error "the sizes of a frame changed"
#endif
#if !defined(TALV_VERSION_MAJOR) || !defined(TALV_VERSION_MINOR) || !defined(TALV_VERSION_PATCH)
#error "no version"
#endif

#define FRAMES 100

static int failures;

static void expect(int condition, const char *what)
{
    if (!condition) {
        printf("failed: %s\n", what);
        failures++;
    }
}

/* The signatures to the letter: a host that loads the library by hand has pointers of these types. */
static int32_t (*const open_function)(TALV_Codec **) = TALV_CodecOpen;
static int32_t (*const close_function)(TALV_Codec *) = TALV_CodecClose;
static int32_t (*const encode_init)(TALV_Codec *) = TALV_EncodeInit;
static int32_t (*const decode_init)(TALV_Codec *) = TALV_DecodeInit;
static int32_t (*const encode)(TALV_Codec *, const int16_t *, uint8_t *, uint32_t *) = TALV_SpeechEncode;
static int32_t (*const decode)(TALV_Codec *, const uint8_t *, int16_t *, uint32_t *) = TALV_SpeechDecode;

/* A buzz of 100 Hz: pulses through a resonance near 600 Hz */
static void make_buzz(int16_t *pcm, int n)
{
    long y1 = 0, y2 = 0;
    int i;
    for (i = 0; i < n; i++) {
        const long x = i % 80 == 0 ? 4000 : 0;
        const long y = x + y1 * 27 / 16 - y2 * 14 / 16;
        y2 = y1;
        y1 = y;
        pcm[i] = (int16_t)(y > 32767 ? 32767 : y < -32768 ? -32768 : y);
    }
}

int main(int argc, char **argv)
{
    static int16_t in[FRAMES * TALV_FRAME_SAMPLES], out[FRAMES * TALV_FRAME_SAMPLES];
    TALV_Codec *codec = NULL;
    double energy_in = 0.0, energy_out = 0.0;
    int t, i;

    make_buzz(in, FRAMES * TALV_FRAME_SAMPLES);
    expect(open_function(&codec) == TALV_OK && codec != NULL, "an instance opens");
    if (codec == NULL)
        return 1;
    expect(encode_init(codec) == TALV_OK, "the encoder resets");
    expect(decode_init(codec) == TALV_OK, "the decoder resets");
    for (t = 0; t < FRAMES; t++) {
        uint8_t frame[TALV_FRAME_BYTES + 1];
        uint32_t written = 99, consumed = 99;
        memset(frame, 0xEE, sizeof frame);
        expect(encode(codec, in + t * TALV_FRAME_SAMPLES, frame, &written) == TALV_OK, "encoding returns 0");
        expect(written == TALV_FRAME_BYTES, "encoding says 8 bytes");
        expect(frame[TALV_FRAME_BYTES] == 0xEE, "encoding writes 8 bytes and no more");
        expect((frame[7] & 0x0F) == 0, "the last four bits are 0");
        expect(decode(codec, frame, out + t * TALV_FRAME_SAMPLES, &consumed) == TALV_OK, "decoding returns 0");
        expect(consumed == TALV_FRAME_BYTES, "decoding says 8 bytes");
    }
    expect(close_function(codec) == TALV_OK, "an instance closes");
    expect(close_function(NULL) == TALV_OK, "null closes");

    for (i = 10 * TALV_FRAME_SAMPLES; i < FRAMES * TALV_FRAME_SAMPLES; i++) {
        energy_in += (double)in[i] * in[i];
        energy_out += (double)out[i] * out[i];
    }
    expect(energy_out > 0.1 * energy_in && energy_out < 10.0 * energy_in, "the buzz comes back, within 10 dB");

    if (argc == 3) {
        FILE *files[2];
        files[0] = fopen(argv[1], "wb");
        files[1] = fopen(argv[2], "wb");
        expect(files[0] != NULL && files[1] != NULL, "files can be written");
        if (failures == 0) {
            expect(fwrite(in, sizeof in, 1, files[0]) == 1 && fclose(files[0]) == 0, "input is written");
            expect(fwrite(out, sizeof out, 1, files[1]) == 1 && fclose(files[1]) == 0, "output is written");
        }
    }
    return failures == 0 ? 0 : 1;
}
