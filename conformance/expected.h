/** What the reference build gave for each stream; expected.c is written by `conformance/make` */
#ifndef TALV_CONFORMANCE_EXPECTED_H
#define TALV_CONFORMANCE_EXPECTED_H

#include <stdint.h>

struct expected_frame {
    uint32_t high, low; /* the frame's bytes 0..3 and 4..7, byte 0 and byte 4 being the highest of their word */
    uint32_t digest;    /* CRC-32 of the decoded samples, each sample's high byte first                       */
};

struct expected_stream {
    const char *name;
    int frames;
    const struct expected_frame *frame;
    const int16_t *samples; /* [frames * 240], or null where the digests are all */
};

extern const struct expected_stream expected[];
extern const int expected_count;
extern const uint64_t expected_digest; /* of the whole suite, as the runner prints it */

#endif
