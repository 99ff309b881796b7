/* Any bytes into the decoder. An input is a run of frames. The decoder does not read the four spare bits of a frame, so
 * they say what to do: bit 0 restarts it in front of that frame; in the first frame, bits 1 and 2 choose what it
 * has heard before, and bit 3 runs both copies of the blocks, which are then compared. Seeds are plain coded speech. */
#include "decoder/decoder.h"
#include "codec/frame.h"
#include "state.h"

using namespace talv;

namespace
{

enum Spare : uint8_t { RESET = 1, HISTORY_SHIFT = 1, BOTH = 8 };
constexpr int HISTORIES = 4;
constexpr int HEARD = 5;

/* Nothing; a loud voice of the longest lag; loud noise of the shortest lag; a soft voice whose lag changes */
constexpr uint8_t HISTORY_FRAMES[HISTORIES][2][FRAME_BYTES] = {
    {},
    {{0xFF, 0x12, 0x34, 0x56, 0x78, 0x1A, 0x00, 0x20}, {0xFE, 0x12, 0x34, 0x56, 0x78, 0x1A, 0x00, 0x30}},
    {{0x00, 0x9A, 0xBC, 0xDE, 0xF0, 0x39, 0x9F, 0xF0}, {0x01, 0x9A, 0xBC, 0xDE, 0xF0, 0x39, 0x9F, 0x00}},
    {{0x58, 0x55, 0x55, 0x55, 0x55, 0x2B, 0x44, 0x40}, {0x90, 0xAA, 0xAA, 0xAA, 0xAA, 0xAB, 0x82, 0x80}},
};

const DecoderState *make_histories()
{
    static DecoderState histories[HISTORIES];
    for (int h = 0; h < HISTORIES; h++) {
        decoder_reset(&histories[h]);
        for (int t = 0; h > 0 && t < HEARD; t++) {
            FrameParams params;
            int16_t pcm[FRAME_LEN];
            frame_unpack(HISTORY_FRAMES[h][t % 2], &params);
            decoder_synthesise(&histories[h], &params, pcm);
        }
    }
    return histories;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const fuzz::Copies copies = fuzz::copies();
    static const DecoderState *const histories = make_histories();
    static DecoderState dec[2];
    if (size < FRAME_BYTES)
        return 0;
    const uint8_t head = data[FRAME_BYTES - 1];
    const int last = copies.count - 1, first = (head & BOTH) != 0 ? 0 : last;
    for (int c = first; c <= last; c++)
        dec[c] = histories[(head >> HISTORY_SHIFT) % HISTORIES];

    for (; size >= FRAME_BYTES; data += FRAME_BYTES, size -= FRAME_BYTES) {
        FrameParams params;
        frame_unpack(data, &params);
        int16_t pcm[2][FRAME_LEN];
        for (int c = first; c <= last; c++) {
            if ((data[FRAME_BYTES - 1] & RESET) != 0)
                decoder_reset(&dec[c]);
            copies.routines[c]->decoder_synthesise(&dec[c], &params, pcm[c]);
            fuzz::check_decoder(dec[c]);
        }
        if (first < last) {
            FUZZ_CHECK(std::memcmp(&dec[0], &dec[1], sizeof dec[0]) == 0);
            FUZZ_CHECK(std::memcmp(pcm[0], pcm[1], sizeof pcm[0]) == 0);
        }
    }
    return 0;
}
