/* The searching encoder: blocks (pcm.h) at an effort that the first byte chooses, a reset before a block by its own byte.
 * Every frame must have the codec's form, and the mirror must hold what the decoder makes of the frames. */
#include "search/search.h"

#include "decoder/decoder.h"
#include "pcm.h"
#include "search/effort.h"
#include "state.h"

#include <cstring>

using namespace talv;

namespace
{

constexpr int INPUT_BLOCKS = 3;
constexpr uint8_t RESET = 1;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static SearchState search;
    if (size < 3)
        return 0;
    fuzz::Input in = {data, size};
    constexpr int EFFORTS[] = {1, 2, 5}; /* none, within the plain delay, and with a frame held back */
    const int effort = EFFORTS[in.byte() % 3];
    DecoderState decoder;
    search_reset(&search, effort);
    decoder_reset(&decoder);
    int16_t pcm[FRAME_LEN] = {};
    for (int t = 0; t < INPUT_BLOCKS && !in.empty(); t++) {
        if ((in.byte() & RESET) != 0) {
            search_reset(&search, effort);
            decoder_reset(&decoder);
        }
        fuzz::make_block(in, pcm);
        FrameParams params, unpacked;
        uint8_t frame[FRAME_BYTES];
        search_frame(&search, pcm, &params);
        frame_pack(&params, frame);
        frame_unpack(frame, &unpacked);
        FUZZ_CHECK(std::memcmp(&params, &unpacked, sizeof params) == 0); /* no field beyond its width */

        int16_t decoded[FRAME_LEN];
        decoder_synthesise(&decoder, &params, decoded);
        const DecoderState &mirrored = search.trial.before[1].dec;
        FUZZ_CHECK(std::memcmp(&mirrored.out_hist, &decoder.out_hist, sizeof decoder.out_hist) == 0);
        FUZZ_CHECK(mirrored.noise_seed == decoder.noise_seed);
        fuzz::check_encoder(search.enc);
        fuzz::check_decoder(decoder);
    }
    return 0;
}
