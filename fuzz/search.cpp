/* The searching encoder: one or two blocks (pcm.h), a reset before a block by its own byte. The first byte of an input
 * chooses the effort, rarely one that tries choices, since that takes up to a hundred times as long, and what was heard
 * before. Every frame must have the codec's form, and the mirror must hold what the decoder makes of the frames. */
#include "search/search.h"

#include "decoder/decoder.h"
#include "pcm.h"
#include "search/effort.h"
#include "state.h"

#include <cstring>
#include <iterator>

using namespace talv;

namespace
{

constexpr int INPUT_BLOCKS = 2;
constexpr uint8_t RESET = 0x80;      /* bytes up to 127 leave the stream alone */
constexpr int EFFORTS[] = {1, 2, 5}; /* none, within the plain delay, and with a frame held back */
constexpr int HISTORIES = 4;
constexpr int HEARD = 6;

struct Stream {
    int effort;
    SearchState search;
    DecoderState decoder;
    int16_t pcm[FRAME_LEN]; /* the newest block */
};

/* Recipes of pcm.h: silence; pulses of a lag that no frame can send; speech; full-scale noise */
constexpr uint8_t RECIPES[HISTORIES][8] = {{6}, {4, 156, 0, 0x00, 0x60, 3}, {8, 16, 4, 16}, {5, 0, 1}};

void restart(Stream *stream)
{
    search_reset(&stream->search, stream->effort);
    decoder_reset(&stream->decoder);
}

void next_block(fuzz::Input &in, Stream *stream)
{
    fuzz::make_block(in, stream->pcm);
    FrameParams params, unpacked;
    uint8_t frame[FRAME_BYTES];
    search_frame(&stream->search, stream->pcm, &params);
    frame_pack(&params, frame);
    frame_unpack(frame, &unpacked);
    FUZZ_CHECK(std::memcmp(&params, &unpacked, sizeof params) == 0); /* no field beyond its width */

    int16_t decoded[FRAME_LEN];
    decoder_synthesise(&stream->decoder, &params, decoded);
    const DecoderState &mirrored = stream->search.trial.before[1].dec;
    FUZZ_CHECK(std::memcmp(&mirrored.out_hist, &stream->decoder.out_hist, sizeof mirrored.out_hist) == 0);
    FUZZ_CHECK(mirrored.noise_seed == stream->decoder.noise_seed);
    fuzz::check_encoder(stream->search.enc);
    fuzz::check_decoder(stream->decoder);
}

const Stream *make_histories()
{
    static Stream streams[std::size(EFFORTS) * HISTORIES];
    for (size_t i = 0; i < std::size(streams); i++) {
        streams[i].effort = EFFORTS[i / HISTORIES];
        restart(&streams[i]);
        for (int t = 0; t < HEARD; t++) {
            fuzz::Input in = {RECIPES[i % HISTORIES], sizeof RECIPES[0]};
            next_block(in, &streams[i]);
        }
    }
    return streams;
}

/** Which of the histories a first byte chooses: by its upper six bits the effort, the higher ones once in 32 */
size_t history_of(uint8_t head)
{
    const int effort = head / HISTORIES;
    return static_cast<size_t>((effort == 62 ? 1 : effort == 63 ? 2 : 0) * HISTORIES + head % HISTORIES);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const Stream *const histories = make_histories();
    static Stream stream;
    if (size < 3)
        return 0;
    fuzz::Input in = {data, size};
    stream = histories[history_of(in.byte())];
    for (int t = 0; t < INPUT_BLOCKS && !in.empty(); t++) {
        if ((in.byte() & RESET) != 0)
            restart(&stream);
        next_block(in, &stream);
    }
    return 0;
}
