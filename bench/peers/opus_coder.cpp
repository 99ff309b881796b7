#include "coder.h"

#include <opus/opus.h>

namespace talv::bench
{

/** Opus at its lowest rate, narrow-band speech in frames of 20 ms, at the least effort it knows */
std::vector<Coder> opus_coders()
{
    constexpr int FRAME = 160;
    Coder coder;
    coder.name = "Opus 6000";
    coder.frame_len = FRAME;
    coder.new_encoder = [] {
        int error;
        const auto state = owned(opus_encoder_create(TALV_SAMPLE_RATE, 1, OPUS_APPLICATION_VOIP, &error),
                                 opus_encoder_destroy, "Opus");
        opus_encoder_ctl(state.get(), OPUS_SET_BITRATE(6000));
        opus_encoder_ctl(state.get(), OPUS_SET_COMPLEXITY(0));
        opus_encoder_ctl(state.get(), OPUS_SET_BANDWIDTH(OPUS_BANDWIDTH_NARROWBAND));
        opus_encoder_ctl(state.get(), OPUS_SET_SIGNAL(OPUS_SIGNAL_VOICE));
        return [state](int16_t *pcm, uint8_t *frame) {
            const int nbytes = opus_encode(state.get(), pcm, FRAME, frame, MAX_FRAME_BYTES);
            return static_cast<size_t>(nbytes > 0 ? nbytes : 0);
        };
    };
    coder.new_decoder = [] {
        int error;
        const auto state = owned(opus_decoder_create(TALV_SAMPLE_RATE, 1, &error), opus_decoder_destroy, "Opus");
        return [state](uint8_t *frame, size_t nbytes, int16_t *pcm) {
            if (opus_decode(state.get(), frame, static_cast<opus_int32>(nbytes), pcm, FRAME, 0) != FRAME)
                throw std::runtime_error("Opus does not decode what it encoded");
        };
    };
    return {coder};
}

} // namespace talv::bench
