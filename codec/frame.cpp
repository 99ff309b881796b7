#include "codec/frame.h"

#include "dsp/lsf_quant.h"

namespace talv
{

namespace
{

constexpr int PITCH_BITS = 7;
constexpr int GAIN_BITS = 5;
constexpr int RS_BITS = 5;
constexpr int AS_BITS = 7;

constexpr int lsf_bits_total() noexcept
{
    int total = 0;
    for (const int32_t bits : lsf_level_bits)
        total += bits;
    return total;
}
static_assert(PITCH_BITS + lsf_bits_total() + 2 * GAIN_BITS + RS_BITS + AS_BITS == FRAME_BITS);

/** The frame as one number of 64 bits, bit 0 of the frame on top, so that a field is moved by two shifts */
struct FrameWord {
    uint64_t bits;
    int used; /* bits put in or taken out so far, from the top */
};

inline void put_field(FrameWord *word, int32_t value, int width) noexcept
{
    word->used += width;
    word->bits |= (static_cast<uint64_t>(value) & ((uint64_t{1} << width) - 1)) << (64 - word->used);
}

inline int32_t take_field(FrameWord *word, int width) noexcept
{
    word->used += width;
    return static_cast<int32_t>(word->bits >> (64 - word->used) & ((uint64_t{1} << width) - 1));
}

} // namespace

void frame_pack(const FrameParams *params, uint8_t *frame) noexcept
{
    FrameWord word = {0, 0};
    put_field(&word, params->pitch_index, PITCH_BITS);
    for (int k = 0; k < LPC_ORDER; k++)
        put_field(&word, params->lsf_index[k], lsf_level_bits[k]);
    put_field(&word, params->gain_index[0], GAIN_BITS);
    put_field(&word, params->gain_index[1], GAIN_BITS);
    put_field(&word, params->rs_index, RS_BITS);
    put_field(&word, params->as_index, AS_BITS);
    for (int b = 0; b < FRAME_BYTES; b++)
        frame[b] = static_cast<uint8_t>(word.bits >> (8 * (FRAME_BYTES - 1 - b)));
}

void frame_unpack(const uint8_t *frame, FrameParams *params) noexcept
{
    FrameWord word = {0, 0};
    for (int b = 0; b < FRAME_BYTES; b++)
        word.bits = word.bits << 8 | frame[b];
    params->pitch_index = take_field(&word, PITCH_BITS);
    for (int k = 0; k < LPC_ORDER; k++)
        params->lsf_index[k] = take_field(&word, lsf_level_bits[k]);
    params->gain_index[0] = take_field(&word, GAIN_BITS);
    params->gain_index[1] = take_field(&word, GAIN_BITS);
    params->rs_index = take_field(&word, RS_BITS);
    params->as_index = take_field(&word, AS_BITS);
}

} // namespace talv
