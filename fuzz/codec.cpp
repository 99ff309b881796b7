/* Encoder into decoder, through the six functions: blocks (pcm.h) are encoded, their frames perhaps damaged, and
 * decoded; a byte before each block says what happens to it. */
#include "codec/talvcodec.h"
#include "pcm.h"
#include "state.h"

using namespace talv;

namespace
{

constexpr int BLOCKS_MAX = 3;

enum Event : uint8_t { ENCODE_INIT = 1, DECODE_INIT = 2, TURN_BITS = 4, FILL_SPARE_BITS = 8, SKIP_FRAME = 16 };

TALV_Codec *open_instance()
{
    TALV_Codec *codec = nullptr;
    FUZZ_CHECK(TALV_CodecOpen(&codec) == TALV_OK);
    return codec;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static TALV_Codec *const codec = open_instance();
    if (size < 2)
        return 0;
    TALV_EncodeInit(codec);
    TALV_DecodeInit(codec);
    fuzz::Input in = {data, size};
    int16_t pcm[FRAME_LEN] = {};
    for (int t = 0; t < BLOCKS_MAX && !in.empty(); t++) {
        const uint8_t events = in.byte();
        if ((events & ENCODE_INIT) != 0)
            TALV_EncodeInit(codec);
        if ((events & DECODE_INIT) != 0)
            TALV_DecodeInit(codec);
        fuzz::make_block(in, pcm);
        uint8_t frame[FRAME_BYTES];
        uint32_t nbytes = 0;
        FUZZ_CHECK(TALV_SpeechEncode(codec, pcm, frame, &nbytes) == TALV_OK && nbytes == FRAME_BYTES);
        FUZZ_CHECK((frame[FRAME_BYTES - 1] & 0x0F) == 0);
        if ((events & TURN_BITS) != 0)
            for (uint8_t &b : frame)
                b = static_cast<uint8_t>(b ^ in.byte());
        if ((events & FILL_SPARE_BITS) != 0)
            frame[FRAME_BYTES - 1] |= 0x0F;
        int16_t decoded[FRAME_LEN];
        if ((events & SKIP_FRAME) == 0)
            FUZZ_CHECK(TALV_SpeechDecode(codec, frame, decoded, &nbytes) == TALV_OK && nbytes == FRAME_BYTES);
        fuzz::check_encoder(codec->enc);
        fuzz::check_decoder(codec->dec);
    }
    return 0;
}
