/** The streams of the conformance suite: what each one feeds to the codec
 *
 *  Everything is made by whole numbers (or is a bundled recording), so that every machine makes the same input. Plain
 *  C99; nothing but the standard headers is needed.
 */
#ifndef TALV_CONFORMANCE_SIGNALS_H
#define TALV_CONFORMANCE_SIGNALS_H

#include <stdint.h>

#define FRAME_SAMPLES 240
#define FRAME_BYTES 8

/** What a generator carries from frame to frame; all 0 at the start of a stream, but for random */
struct source {
    int32_t p, q;      /* parameters of the stream; their meaning is the generator's          */
    uint32_t random;   /* state of the random numbers                                         */
    uint32_t phase;    /* of an oscillator, 2^32 is a full turn                               */
    int32_t countdown; /* samples up to the next event                                        */
    int32_t ring[2];   /* last two outputs of a resonator                                     */
};

/** The samples of frame t, t = 0, 1, 2, ...; pcm  O  [FRAME_SAMPLES] */
typedef void pcm_maker(struct source *source, int t, int16_t *pcm);

/** The bytes of frame t; frame  O  [FRAME_BYTES] */
typedef void frame_maker(struct source *source, int t, uint8_t *frame);

struct stream {
    const char *name;
    int frames;         /* length                                                                               */
    int whole;          /* 1: all samples are kept; 0: one digest a frame                                       */
    pcm_maker *pcm;     /* samples for the encoder, whose frames go to the decoder; null: frames come from below */
    frame_maker *frame; /* frames for the decoder alone                                                         */
    int32_t p, q;       /* the generator's parameters                                                           */
    int encoder_reset;  /* restart the encoder in front of every frame that is a multiple of this; 0: never     */
    int decoder_reset;  /* the decoder likewise                                                                 */
};

extern const struct stream streams[];
extern const int stream_count;

/** The generator of a stream at its start */
struct source start_source(const struct stream *stream);

#endif
