/* The conformance suite: does a build of the library give the very bits of the reference?
 *
 *   talv_conformance                    run all streams
 *   talv_conformance STREAM...          run these
 *   talv_conformance --list             name the streams
 *   talv_conformance --make FILE        write what this build gives as the expected results (expected.c)
 *
 * Each stream is fed to a fresh instance through talvcodec.h alone. The encoder's frames are compared field by field.
 * The decoder is then given the frame that was expected, so that a difference in one direction does not hide behind one
 * in the other; its samples are compared one by one where the stream is kept whole, otherwise by a digest a frame. The
 * first difference of either direction is told. Exit status: 0 all alike, 1 something differs, 2 wrong usage.
 *
 * Plain C99. Standard output is all that is needed of the machine (--make needs files); on a bare machine compile it
 * with main() called without arguments. A build that is not for hosts may lack printf's 64-bit formats, so none is used.
 */
#include "expected.h"
#include "signals.h"

#include <stdio.h>
#include <string.h>
#include <talvcodec.h>

/* ---- Digests ---- */

/** CRC-32 of a frame of samples, high byte first (the polynomial of IEEE 802.3, reflected: 0xEDB88320) */
static uint32_t crc_samples(const int16_t *pcm)
{
    uint32_t crc = 0xffffffffu;
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        const uint32_t v = (uint32_t)pcm[i];
        for (int shift = 8; shift >= 0; shift -= 8) {
            crc ^= v >> shift & 0xffu;
            for (int bit = 0; bit < 8; bit++)
                crc = crc >> 1 ^ (crc & 1u ? 0xedb88320u : 0u);
        }
    }
    return ~crc;
}

/** FNV-1a, 64 bits (G. Fowler, L. C. Noll and K.-P. Vo) */
static const uint64_t fnv_start = 0xcbf29ce484222325u;

static uint64_t fnv_byte(uint64_t hash, uint32_t byte)
{
    return (hash ^ (byte & 0xffu)) * 0x100000001b3u;
}

/** A frame's bytes, then its samples, high byte first */
static uint64_t fnv_frame(uint64_t hash, const uint8_t *frame, const int16_t *pcm)
{
    for (int i = 0; i < FRAME_BYTES; i++)
        hash = fnv_byte(hash, frame[i]);
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        hash = fnv_byte(hash, (uint32_t)pcm[i] >> 8);
        hash = fnv_byte(hash, (uint32_t)pcm[i]);
    }
    return hash;
}

static uint64_t fnv_digest(uint64_t hash, uint64_t digest)
{
    for (int shift = 56; shift >= 0; shift -= 8)
        hash = fnv_byte(hash, (uint32_t)(digest >> shift));
    return hash;
}

/* ---- A frame's fields ---- */

static const struct {
    const char *name;
    int width;
} fields[] = {
    {"pitch_index", 7},   {"lsf_index[0]", 4}, {"lsf_index[1]", 4}, {"lsf_index[2]", 3},
    {"lsf_index[3]", 3},  {"lsf_index[4]", 3}, {"lsf_index[5]", 3}, {"lsf_index[6]", 3},
    {"lsf_index[7]", 3},  {"lsf_index[8]", 3}, {"lsf_index[9]", 2}, {"gain_index[0]", 5},
    {"gain_index[1]", 5}, {"rs_index", 5},     {"as_index", 7},     {"the spare bits", 4},
};

static unsigned get(const uint8_t *frame, int *position, int width)
{
    unsigned value = 0;
    for (; width > 0; width--, ++*position)
        value = value << 1 | ((unsigned)frame[*position / 8] >> (7 - *position % 8) & 1u);
    return value;
}

static uint32_t word(const uint8_t *bytes)
{
    return (uint32_t)bytes[0] << 24 | (uint32_t)bytes[1] << 16 | (uint32_t)bytes[2] << 8 | bytes[3];
}

static void unpack_word(uint32_t w, uint8_t *bytes)
{
    for (int i = 0; i < 4; i++)
        bytes[i] = (uint8_t)(w >> (24 - 8 * i));
}

/* ---- Running a stream ---- */

/** A direction of a stream: whether all is as expected up to now */
struct verdict {
    const char *stream;
    const char *direction;
    int differs;
};

/** Tell the first difference of a direction and keep silent from then on */
static void difference(struct verdict *v, int t, const char *where, int index, long got, long wanted)
{
    if (v->differs)
        return;
    v->differs = 1;
    printf("DIFFERS: %s, frame %d, %s, %s", v->stream, t, v->direction, where);
    if (index >= 0)
        printf(" %d", index);
    printf(": got %ld, wanted %ld\n", got, wanted);
}

static void compare_frame(struct verdict *v, int t, const uint8_t *got, const uint8_t *wanted)
{
    int position = 0;
    for (size_t f = 0; f < sizeof fields / sizeof *fields; f++) {
        int same = position;
        const unsigned a = get(got, &position, fields[f].width);
        const unsigned b = get(wanted, &same, fields[f].width);
        if (a != b)
            difference(v, t, fields[f].name, -1, (long)a, (long)b);
    }
}

static void compare_samples(struct verdict *v, int t, const int16_t *got, const struct expected_stream *want)
{
    if (want->samples) {
        for (int i = 0; i < FRAME_SAMPLES; i++) {
            const int16_t wanted = want->samples[(size_t)t * FRAME_SAMPLES + (size_t)i];
            if (got[i] != wanted)
                difference(v, t, "sample", i, got[i], wanted);
        }
        return;
    }
    const uint32_t crc = crc_samples(got);
    if (crc != want->frame[t].digest && !v->differs) {
        v->differs = 1;
        printf("DIFFERS: %s, frame %d, %s, samples 0 to %d: got digest %08lx, wanted %08lx; the first are", v->stream,
               t, v->direction, FRAME_SAMPLES - 1, (unsigned long)crc, (unsigned long)want->frame[t].digest);
        for (int i = 0; i < 8; i++)
            printf(" %d", got[i]);
        printf("\n");
    }
}

/** Where results are written when expected.c is made */
struct record {
    FILE *out;
    int samples_too;
};

static void write_frame(const struct record *record, int t, const uint8_t *frame, const int16_t *pcm)
{
    if (!record->samples_too) {
        fprintf(record->out, "    {0x%08lx, 0x%08lx, 0x%08lx}, /* %3d */\n", (unsigned long)word(frame),
                (unsigned long)word(frame + 4), (unsigned long)crc_samples(pcm), t);
        return;
    }
    fprintf(record->out, "    /* frame %d */\n", t);
    for (int i = 0; i < FRAME_SAMPLES; i++)
        fprintf(record->out, "%s%d,%s", i % 20 == 0 ? "    " : " ", pcm[i], i % 20 == 19 ? "\n" : "");
}

/* A build in single precision alone gives other bits: it is not compared frame by frame, but takes every expected frame,
 * and 19 in 20 of its own frames have to be the expected ones (of speech 999 in 1000 are: talv_float_only).        */
#ifdef TALV_FLOAT_ONLY
enum { exact = 0 };
#else
enum { exact = 1 };
#endif
static long other_frames;

/** Feed a stream to a fresh instance
 *  want    expected results, or null
 *  record  where to write what came out, or null
 *  digest  IO  of all that came out
 *  return  0, or 1 when something differs                                                                          */
static int run_stream(const struct stream *stream, const struct expected_stream *want, const struct record *record,
                      uint64_t *digest)
{
    struct verdict encoder = {stream->name, "encoder", 0}, decoder = {stream->name, "decoder", 0};
    struct source source = start_source(stream);
    TALV_Codec *codec;
    uint64_t own = fnv_start;

    if (TALV_CodecOpen(&codec) != TALV_OK) {
        printf("%s: no instance\n", stream->name);
        return 1;
    }
    for (int t = 0; t < stream->frames; t++) {
        int16_t pcm[FRAME_SAMPLES];
        uint8_t frame[FRAME_BYTES], given[FRAME_BYTES];
        uint32_t bytes = 0;
        int32_t status;

        if (stream->encoder_reset && t && t % stream->encoder_reset == 0)
            TALV_EncodeInit(codec);
        if (stream->decoder_reset && t && t % stream->decoder_reset == 0)
            TALV_DecodeInit(codec);

        if (stream->pcm) {
            stream->pcm(&source, t, pcm);
            memset(frame, 0x55, sizeof frame);
            status = TALV_SpeechEncode(codec, pcm, frame, &bytes);
            if (status != TALV_OK)
                difference(&encoder, t, "result", -1, (long)status, TALV_OK);
            if (bytes != FRAME_BYTES)
                difference(&encoder, t, "bytes", -1, (long)bytes, FRAME_BYTES);
        } else {
            stream->frame(&source, t, frame);
        }
        memcpy(given, frame, sizeof given);
        if (want) {
            unpack_word(want->frame[t].high, given);
            unpack_word(want->frame[t].low, given + 4);
            if (exact)
                compare_frame(&encoder, t, frame, given);
            other_frames += memcmp(frame, given, sizeof given) != 0;
        }

        bytes = 0;
        for (int i = 0; i < FRAME_SAMPLES; i++)
            pcm[i] = 0x5555;
        status = TALV_SpeechDecode(codec, given, pcm, &bytes);
        if (status != TALV_OK)
            difference(&decoder, t, "result", -1, (long)status, TALV_OK);
        if (bytes != FRAME_BYTES)
            difference(&decoder, t, "bytes", -1, (long)bytes, FRAME_BYTES);
        if (want && exact)
            compare_samples(&decoder, t, pcm, want);

        own = fnv_frame(own, frame, pcm);
        if (record)
            write_frame(record, t, frame, pcm);
    }
    TALV_CodecClose(codec);

    *digest = fnv_digest(*digest, own);
    if (!record)
        printf("%-16s %4d frames  %08lx%08lx  %s\n", stream->name, stream->frames, (unsigned long)(own >> 32),
               (unsigned long)(own & 0xffffffffu),
               encoder.differs || decoder.differs ? "DIFFERS"
               : exact                            ? "alike"
                                                  : "ran");
    return encoder.differs || decoder.differs;
}

/** The expected results of a stream, or null when there are none of its length */
static const struct expected_stream *find_expected(const struct stream *stream)
{
    for (int i = 0; i < expected_count; i++)
        if (strcmp(expected[i].name, stream->name) == 0 && expected[i].frames == stream->frames &&
            (expected[i].samples != NULL) == stream->whole)
            return &expected[i];
    return NULL;
}

static int make(const char *path)
{
    uint64_t digest = fnv_start, unused = fnv_start;
    int failed = 0;
    FILE *out = fopen(path, "w");
    if (!out) {
        printf("cannot write %s\n", path);
        return 1;
    }
    fprintf(out,
            "/* Written by conformance/make from the reference build. One line a frame: bytes 0 to 3, bytes 4 to 7, "
            "digest of\n * the decoded samples (expected.h). */\n#include \"expected.h\"\n\n#include <stddef.h>\n\n"
            "// clang-format off\n");
    for (int s = 0; s < stream_count; s++) {
        struct record record = {out, 0};
        fprintf(out, "static const struct expected_frame %s[%d] = {\n", streams[s].name, streams[s].frames);
        failed |= run_stream(&streams[s], NULL, &record, &digest);
        fprintf(out, "};\n\n");
        if (streams[s].whole) {
            record.samples_too = 1;
            fprintf(out, "static const int16_t %s_samples[%d * 240] = {\n", streams[s].name, streams[s].frames);
            failed |= run_stream(&streams[s], NULL, &record, &unused);
            fprintf(out, "};\n\n");
        }
    }
    fprintf(out, "const struct expected_stream expected[] = {\n");
    for (int s = 0; s < stream_count; s++)
        fprintf(out, "    {\"%s\", %d, %s, %s%s},\n", streams[s].name, streams[s].frames, streams[s].name,
                streams[s].whole ? streams[s].name : "NULL", streams[s].whole ? "_samples" : "");
    fprintf(out,
            "};\n// clang-format on\nconst int expected_count = %d;\nconst uint64_t expected_digest = 0x%08lx%08lxu;\n",
            stream_count, (unsigned long)(digest >> 32), (unsigned long)(digest & 0xffffffffu));
    if (ferror(out) | fclose(out)) {
        printf("cannot write %s\n", path);
        return 1;
    }
    return failed;
}

int main(int argc, char **argv)
{
    uint64_t digest = fnv_start;
    long frames = 0;
    int count = 0, differ = 0;

    if (argc == 3 && strcmp(argv[1], "--make") == 0)
        return make(argv[2]);
    if (argc == 2 && strcmp(argv[1], "--list") == 0) {
        for (int s = 0; s < stream_count; s++)
            printf("%s\n", streams[s].name);
        return 0;
    }
    for (int a = 1; a < argc; a++) {
        int known = 0;
        for (int s = 0; s < stream_count; s++)
            known |= strcmp(argv[a], streams[s].name) == 0;
        if (!known) {
            printf("no stream is called %s\n", argv[a]);
            return 2;
        }
    }

    for (int s = 0; s < stream_count; s++) {
        int chosen = argc < 2;
        for (int a = 1; a < argc; a++)
            chosen |= strcmp(argv[a], streams[s].name) == 0;
        if (!chosen)
            continue;
        const struct expected_stream *want = find_expected(&streams[s]);
        if (!want) {
            printf("DIFFERS: %s: there are no expected results; make them anew\n", streams[s].name);
            differ++;
        } else {
            differ += run_stream(&streams[s], want, NULL, &digest);
        }
        frames += streams[s].frames;
        count++;
    }
    if (!exact) {
        printf("single precision: %ld of %ld frames are not those of the other builds\n", other_frames, frames);
        differ += other_frames > frames / 20;
    } else if (count == stream_count && differ == 0 && digest != expected_digest) {
        printf("DIFFERS: the suite's digest, though no stream does\n");
        differ++;
    }
    printf("%d streams, %ld frames, digest %08lx%08lx: %s\n", count, frames, (unsigned long)(digest >> 32),
           (unsigned long)(digest & 0xffffffffu), differ ? "FAILED" : "PASSED");
    return differ ? 1 : 0;
}
