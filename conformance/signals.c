#include "signals.h"

#include "speech.h"

#include <stddef.h>

/* ---- Whole-number tools ---- */

/** The next of a sequence of 32-bit random numbers (G. Marsaglia, "Xorshift RNGs", 2003); never 0 */
static uint32_t next_random(struct source *source)
{
    uint32_t x = source->random;
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    source->random = x;
    return x;
}

/** A random number from lowest to highest, 0 <= highest - lowest < 65536 */
static int32_t random_between(struct source *source, int32_t lowest, int32_t highest)
{
    const uint32_t count = (uint32_t)(highest - lowest) + 1u;
    return lowest + (int32_t)((next_random(source) >> 16) * count >> 16);
}

static int16_t clipped(int32_t x)
{
    return (int16_t)(x > 32767 ? 32767 : x < -32768 ? -32768 : x);
}

/** Nearly amplitude * sin(2 pi phase / 2^32)
 *  Within 0.2 % of a sine: 16 t (1 - t) / (5 - 4 t (1 - t)) for sin(pi t), 0 <= t <= 1, the seventh-century formula of
 *  Bhaskara I. What counts here is that it is the same everywhere.                                                  */
static int16_t sine(uint32_t phase, int32_t amplitude)
{
    const int32_t t = (int32_t)(phase >> 16 & 0x7fff); /* half a turn is 2^15      */
    const int32_t q = t * (32768 - t) / 4096;          /* 2^18 t (1 - t), 0..2^16  */
    const int32_t half = (int32_t)((int64_t)amplitude * 4 * q / (5 * 65536 - q));
    return clipped(phase >> 31 ? -half : half);
}

/** What to add to a phase for each sample; 8000 samples a second */
static uint32_t phase_step(int32_t hz)
{
    return (uint32_t)(((uint64_t)(uint32_t)hz << 32) / 8000u);
}

/* ---- Signals for the encoder ---- */

static void silence(struct source *source, int t, int16_t *pcm)
{
    (void)t;
    for (int i = 0; i < FRAME_SAMPLES; i++)
        pcm[i] = (int16_t)source->p;
}

/** A level that jumps every p samples: up and down, from a hardly noticeable to the largest step */
static void steps(struct source *source, int t, int16_t *pcm)
{
    static const int32_t level[] = {0, 1, 0, -1, 0, 100, -100, 0, 8000, -8000, 16000, 0, 32767, -32768, 0, -20000};
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        const int32_t n = (int32_t)t * FRAME_SAMPLES + i;
        pcm[i] = (int16_t)level[n / source->p % 16];
    }
}

/** One sample of height q every p samples */
static void pulses(struct source *source, int t, int16_t *pcm)
{
    for (int i = 0; i < FRAME_SAMPLES; i++)
        pcm[i] = (int16_t)(((int32_t)t * FRAME_SAMPLES + i) % source->p == source->p / 2 ? source->q : 0);
}

/** A sine of amplitude q that rises from 50 Hz by p Hz a frame, and starts again at 3950 Hz */
static void sweep(struct source *source, int t, int16_t *pcm)
{
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        const int32_t hz = 50 + (source->p * t + source->p * i / FRAME_SAMPLES) % 3900;
        pcm[i] = sine(source->phase, source->q);
        source->phase += phase_step(hz);
    }
}

/** A square wave from end to end of the range whose half period grows from p samples by one every q frames */
static void square(struct source *source, int t, int16_t *pcm)
{
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        if (source->countdown == 0) {
            source->countdown = source->p + t / source->q;
            source->phase ^= 0x80000000u;
        }
        source->countdown--;
        pcm[i] = source->phase >> 31 ? 32767 : -32768;
    }
}

/** Even noise from -p to p; p is at most 32767 */
static void noise(struct source *source, int t, int16_t *pcm)
{
    (void)t;
    for (int i = 0; i < FRAME_SAMPLES; i++)
        pcm[i] = (int16_t)random_between(source, -source->p, source->p);
}

/** A steady sine of p Hz and amplitude q. 2000 Hz is four samples a turn, a pure tone even in whole numbers: no
 *  spectral envelope fits it, and the encoder says so.                                                             */
static void tone(struct source *source, int t, int16_t *pcm)
{
    (void)t;
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        pcm[i] = sine(source->phase, source->q);
        source->phase += phase_step(source->p);
    }
}

/** Tones, gaps and notes in turn, 8 frames each: the envelope is lost and found again in mid-stream */
static void tones(struct source *source, int t, int16_t *pcm)
{
    static const int32_t hz[] = {2000, 300, 0, 1000, 2000, 0, 2000, 3900, 1600, 2000};
    static const int32_t amplitude[] = {16000, 16000, 0, 8000, 2000, 0, 32767, 10000, 12000, 64};
    const int part = t / 8 % 10;
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        pcm[i] = sine(source->phase, amplitude[part]);
        source->phase += phase_step(hz[part]);
    }
}

/** Something like a voice: a pulse a pitch cycle and breath, through one resonance at 1000 Hz
 *  The cycle glides between 18 and 170 samples, which is more than a frame can say. y[n] = x[n] + 1.30 y[n-1] -
 *  0.85 y[n-2], in 1/128.                                                                                           */
static int32_t voice_sample(struct source *source, int32_t n)
{
    const int32_t glide = n / 40 % 304;
    const int32_t cycle = 18 + (glide < 152 ? glide : 304 - glide);
    int32_t x = random_between(source, -40, 40);
    if (source->countdown <= 0) {
        source->countdown = cycle;
        x += 6000;
    }
    source->countdown--;
    const int32_t y = x + (166 * source->ring[0] - 109 * source->ring[1]) / 128;
    source->ring[1] = source->ring[0];
    source->ring[0] = y;
    return y;
}

static void voice(struct source *source, int t, int16_t *pcm)
{
    for (int i = 0; i < FRAME_SAMPLES; i++)
        pcm[i] = clipped(voice_sample(source, (int32_t)t * FRAME_SAMPLES + i));
}

/** The voice at levels that change every p frames, from a whisper to far beyond the range */
static void levels(struct source *source, int t, int16_t *pcm)
{
    static const int32_t level[] = {64, 1, 16, 0, 64, 400, 4, 64, 1000, 0, 200, 2};
    const int32_t gain = level[t / source->p % 12];
    for (int i = 0; i < FRAME_SAMPLES; i++)
        pcm[i] = clipped(voice_sample(source, (int32_t)t * FRAME_SAMPLES + i) * gain / 64);
}

/** The two ends of the range at random, and long stays at either */
static void extremes(struct source *source, int t, int16_t *pcm)
{
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        if (source->countdown == 0) {
            source->countdown = random_between(source, 1, t % 16 < 8 ? 4 : 400);
            source->phase = next_random(source);
        }
        source->countdown--;
        pcm[i] = source->phase >> 31 ? 32767 : -32768;
    }
}

/** Frames of a recording; zeros after its end */
static void recording(const int16_t *speech, int32_t length, int t, int16_t *pcm)
{
    for (int i = 0; i < FRAME_SAMPLES; i++) {
        const int32_t n = (int32_t)t * FRAME_SAMPLES + i;
        pcm[i] = (int16_t)(n < length ? speech[n] : 0);
    }
}

static void man(struct source *source, int t, int16_t *pcm)
{
    (void)source;
    recording(speech_en_m_jfk, speech_en_m_jfk_length, t, pcm);
}

static void woman(struct source *source, int t, int16_t *pcm)
{
    (void)source;
    recording(speech_en_f_lj, speech_en_f_lj_length, t, pcm);
}

/* ---- Frames for the decoder ---- */

static void constant_frames(struct source *source, int t, uint8_t *frame)
{
    (void)t;
    for (int i = 0; i < FRAME_BYTES; i++)
        frame[i] = (uint8_t)source->p;
}

/** Every one of the 2^64 patterns is a frame, the spare bits too. */
static void random_frames(struct source *source, int t, uint8_t *frame)
{
    (void)t;
    for (int i = 0; i < FRAME_BYTES; i++)
        frame[i] = (uint8_t)(next_random(source) >> 24);
}

/** A single bit that walks through the frame: set in frames of zeros, then clear in frames of ones */
static void walking_bit(struct source *source, int t, uint8_t *frame)
{
    const int bit = t % 64;
    (void)source;
    for (int i = 0; i < FRAME_BYTES; i++)
        frame[i] = (uint8_t)(t / 64 % 2 ? 0xff : 0x00);
    frame[bit / 8] = (uint8_t)(frame[bit / 8] ^ (0x80 >> bit % 8));
}

/** Write a value at a bit position, most significant bit first */
static void put(uint8_t *frame, int *position, int width, uint32_t value)
{
    for (int bit = width - 1; bit >= 0; bit--, ++*position)
        if (value >> bit & 1u)
            frame[*position / 8] = (uint8_t)(frame[*position / 8] | 0x80 >> *position % 8);
}

/** Frames whose fields count: 128 of them use every lag and every row of every table
 *  q = 0: the lag rises frame by frame. Otherwise it jumps by q from frame to frame, q odd.                         */
static void counting_frames(struct source *source, int t, uint8_t *frame)
{
    static const int lsf_width[] = {4, 4, 3, 3, 3, 3, 3, 3, 3, 2};
    const uint32_t n = (uint32_t)t;
    int position = 0;
    for (int i = 0; i < FRAME_BYTES; i++)
        frame[i] = 0;
    put(frame, &position, 7, source->q ? n * (uint32_t)source->q : n);
    for (int k = 0; k < 10; k++)
        put(frame, &position, lsf_width[k], n / (uint32_t)(k + 1) + (uint32_t)k);
    put(frame, &position, 5, n * 5u + 3u);
    put(frame, &position, 5, n * 7u);
    put(frame, &position, 5, n * 11u + n / 32u);
    put(frame, &position, 7, n * 37u);
}

/* ---- The suite ---- */

/* Order and contents are the suite's identity: its digest covers all of them. After any change here the expected
 * results are to be made anew (conformance/make). */
// clang-format off
const struct stream streams[] = {
    /* name             frames  whole  encoder     decoder          p      q     resets */
    { "silence",            10,  1,    silence,    NULL,            0,      0,    0,  0 },
    { "constant",            8,  1,    silence,    NULL,        12345,      0,    0,  0 },
    { "lowest",              6,  1,    silence,    NULL,       -32768,      0,    0,  0 },
    { "steps",              48,  0,    steps,      NULL,          600,      0,    0,  0 },
    { "two_pulses",         10,  1,    pulses,     NULL,         1400,  32767,    0,  0 },
    { "pulses_40",          24,  0,    pulses,     NULL,           40,  20000,    0,  0 },
    { "pulses_147",         24,  0,    pulses,     NULL,          147, -32768,    0,  0 },
    { "sweep",             160,  0,    sweep,      NULL,           25,  20000,    0,  0 },
    { "quick_sweep",        40,  0,    sweep,      NULL,          777,  32767,    0,  0 },
    { "square",             84,  0,    square,     NULL,            1,      1,    0,  0 },
    { "square_slow",        40,  0,    square,     NULL,           60,      2,    0,  0 },
    { "noise_full",        100,  0,    noise,      NULL,        32767,      0,    0,  0 },
    { "noise_low",          40,  0,    noise,      NULL,            1,      0,    0,  0 },
    { "noise_short",         8,  1,    noise,      NULL,         3000,      0,    0,  0 },
    { "tone_2000_soft",      8,  1,    tone,       NULL,         2000,   2000,    0,  0 },
    { "tone_2000_loud",      8,  1,    tone,       NULL,         2000,  16000,    0,  0 },
    { "tone_300",           20,  0,    tone,       NULL,          300,  16000,    0,  0 },
    { "tones",             160,  0,    tones,      NULL,            0,      0,    0,  0 },
    { "voice",             160,  0,    voice,      NULL,            0,      0,    0,  0 },
    { "voice_short",        10,  1,    voice,      NULL,            0,      0,    0,  0 },
    { "levels",            144,  0,    levels,     NULL,            6,      0,    0,  0 },
    { "extremes",           96,  0,    extremes,   NULL,            0,      0,    0,  0 },
    { "speech_man",        176,  0,    man,        NULL,            0,      0,    0,  0 },
    { "speech_woman",      196,  0,    woman,      NULL,            0,      0,    0,  0 },
    { "encoder_resets",     60,  0,    voice,      NULL,            0,      0,    7,  0 },
    { "decoder_resets",     60,  0,    voice,      NULL,            0,      0,    0, 11 },
    { "both_resets",        80,  0,    man,        NULL,            0,      0,    9, 13 },
    { "frames_zero",         4,  1,    NULL,       constant_frames, 0x00,   0,    0,  0 },
    { "frames_ones",         4,  1,    NULL,       constant_frames, 0xff,   0,    0,  0 },
    { "frames_aa",           4,  1,    NULL,       constant_frames, 0xaa,   0,    0,  0 },
    { "frames_walking",    128,  0,    NULL,       walking_bit,        0,   0,    0,  0 },
    { "frames_rising",     128,  0,    NULL,       counting_frames,    0,   0,    0,  0 },
    { "frames_jumping",    256,  0,    NULL,       counting_frames,    0,  51,    0,  0 },
    { "frames_random",     400,  0,    NULL,       random_frames,      0,   0,    0,  0 },
    { "frames_resets",      90,  0,    NULL,       random_frames,      0,   0,    0,  8 },
};
// clang-format on
const int stream_count = (int)(sizeof streams / sizeof *streams);

struct source start_source(const struct stream *stream)
{
    struct source source = {0, 0, 0, 0, 0, {0, 0}};
    source.p = stream->p;
    source.q = stream->q;
    source.random = 2463534242u + (uint32_t)(stream - streams); /* other numbers in every stream */
    return source;
}
