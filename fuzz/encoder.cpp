/* Any PCM into the encoder. The first byte of an input chooses what the encoder has heard before, and whether both
 * copies of the blocks run, which are then compared; the rest are blocks (pcm.h). */
#include "encoder/encoder.h"
#include "codec/frame.h"
#include "pcm.h"
#include "state.h"

using namespace talv;

namespace
{

constexpr int BLOCKS_MAX = 3;
constexpr int HISTORIES = 8;
constexpr uint8_t BOTH = 0xC0; /* both of these bits of the first byte; the low ones choose the history */

struct History {
    EncoderState enc;
    int16_t pcm[FRAME_LEN];
};

/* Recipes of pcm.h, each heard for a while: loud and soft, broad and narrow, and silence after a full-scale signal */
constexpr uint8_t RECIPES[HISTORIES][2][8] = {
    {{6}, {6}},
    {{2, 19, 0xFF, 0x7F, 0x00, 0x80}, {6}},
    {{5, 0, 1}, {5, 0, 2}},
    {{2, 0, 0xFF, 0x7F, 0x00, 0x80}, {2, 255, 0x00, 0x80, 0x00, 0x80}},
    {{4, 79, 0, 0x00, 0x60, 3}, {4, 19, 0, 0x00, 0x60, 3}},
    {{3, 20, 20, 15, 60, 60, 13}, {3, 10, 250, 15, 0, 0, 0}},
    {{7, 0xFF, 0x7F}, {7, 0x00, 0x80}},
    {{8, 0, 4, 16}, {8, 8, 4, 16}},
};
constexpr int HEARD[HISTORIES][2] = {{0, 0}, {8, 40}, {4, 4}, {6, 6}, {8, 8}, {6, 6}, {6, 6}, {6, 1}};

const History *make_histories()
{
    static History histories[HISTORIES];
    for (int h = 0; h < HISTORIES; h++) {
        History &history = histories[h];
        encoder_reset(&history.enc);
        history.enc.pitch_hist[2] = LAG_MIN; /* not reset, and written before it is read */
        FrameParams params;
        for (int part = 0; part < 2; part++) {
            for (int t = 0; t < HEARD[h][part]; t++) {
                fuzz::Input in = {RECIPES[h][part], sizeof RECIPES[h][part]};
                fuzz::make_block(in, history.pcm);
                encoder_analyse(&history.enc, history.pcm, &params);
            }
        }
    }
    return histories;
}

/** One block through the chosen copies */
void analyse(const fuzz::Copies &copies, int first, int last, const int16_t *pcm, EncoderState *enc)
{
    FrameParams params[2];
    uint8_t frame[2][FRAME_BYTES];
    for (int c = first; c <= last; c++) {
        copies.routines[c]->encoder_analyse(&enc[c], pcm, &params[c]);
        frame_pack(&params[c], frame[c]);
        FrameParams again;
        frame_unpack(frame[c], &again);
        FUZZ_CHECK(std::memcmp(&again, &params[c], sizeof again) == 0);
        fuzz::check_encoder(enc[c]);
    }
    if (first < last) {
        FUZZ_CHECK(std::memcmp(&enc[0], &enc[1], sizeof enc[0]) == 0);
        FUZZ_CHECK(std::memcmp(frame[0], frame[1], sizeof frame[0]) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const fuzz::Copies copies = fuzz::copies();
    static const History *const histories = make_histories();
    static EncoderState enc[2];
    if (size < 2)
        return 0;
    fuzz::Input in = {data, size};
    const uint8_t head = in.byte();
    const History &history = histories[head % HISTORIES];
    const int last = copies.count - 1, first = (head & BOTH) == BOTH ? 0 : last;
    for (int c = first; c <= last; c++)
        enc[c] = history.enc;
    int16_t pcm[FRAME_LEN];
    std::memcpy(pcm, history.pcm, sizeof pcm);
    for (int t = 0; t < BLOCKS_MAX && !in.empty(); t++) {
        fuzz::make_block(in, pcm);
        analyse(copies, first, last, pcm, enc);
    }
    return 0;
}
