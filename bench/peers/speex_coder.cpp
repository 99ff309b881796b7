#include "coder.h"

#include <speex/speex.h>

namespace talv::bench
{

namespace
{

/** Speex packs and unpacks the bits of a frame in a buffer of its own, which belongs to the cost. */
struct Bits {
    SpeexBits bits;
    Bits() { speex_bits_init(&bits); }
    ~Bits() { speex_bits_destroy(&bits); }
    Bits(const Bits &) = delete;
    Bits &operator=(const Bits &) = delete;
};

} // namespace

/** The lowest mode of narrow-band Speex: 43 bits every 20 ms */
std::vector<Coder> speex_coders()
{
    constexpr size_t FRAME = 160;
    Coder coder;
    coder.name = "Speex 2150";
    coder.frame_len = FRAME;
    coder.new_encoder = [] {
        const auto state = owned(speex_encoder_init(&speex_nb_mode), speex_encoder_destroy, "Speex");
        int quality = 0, rate = 0;
        speex_encoder_ctl(state.get(), SPEEX_SET_QUALITY, &quality);
        speex_encoder_ctl(state.get(), SPEEX_GET_BITRATE, &rate);
        if (rate != 2150)
            throw std::runtime_error("Speex runs at " + std::to_string(rate) + " bit/s instead of 2150");
        return [state, packer = std::make_shared<Bits>()](int16_t *pcm, uint8_t *frame) {
            speex_bits_reset(&packer->bits);
            speex_encode_int(state.get(), pcm, &packer->bits);
            return static_cast<size_t>(
                speex_bits_write(&packer->bits, reinterpret_cast<char *>(frame), static_cast<int>(MAX_FRAME_BYTES)));
        };
    };
    coder.new_decoder = [] {
        const auto state = owned(speex_decoder_init(&speex_nb_mode), speex_decoder_destroy, "Speex");
        return [state, packer = std::make_shared<Bits>()](uint8_t *frame, size_t nbytes, int16_t *pcm) {
            speex_bits_read_from(&packer->bits, reinterpret_cast<char *>(frame), static_cast<int>(nbytes));
            speex_decode_int(state.get(), &packer->bits, pcm);
        };
    };
    return {coder};
}

} // namespace talv::bench
