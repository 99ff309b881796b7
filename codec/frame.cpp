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

} // namespace

void put_bits(int32_t value, int width, int16_t *bits, int32_t *position) noexcept
{
    for (int32_t mask = 1 << (width - 1); mask > 0; mask >>= 1)
        bits[(*position)++] = (value & mask) != 0 ? 1 : 0;
}

void get_bits(int32_t *value, int width, const int16_t *bits, int32_t *position) noexcept
{
    *value = 0;
    for (int shift = width - 1; shift >= 0; shift--)
        *value |= bits[(*position)++] << shift;
}

void frame_pack(const FrameParams *params, uint8_t *frame) noexcept
{
    int16_t bits[FRAME_BITS];
    int32_t position = 0;
    put_bits(params->pitch_index, PITCH_BITS, bits, &position);
    for (int k = 0; k < LPC_ORDER; k++)
        put_bits(params->lsf_index[k], lsf_level_bits[k], bits, &position);
    put_bits(params->gain_index[0], GAIN_BITS, bits, &position);
    put_bits(params->gain_index[1], GAIN_BITS, bits, &position);
    put_bits(params->rs_index, RS_BITS, bits, &position);
    put_bits(params->as_index, AS_BITS, bits, &position);

    for (int b = 0; b < FRAME_BYTES; b++)
        frame[b] = 0;
    for (int i = 0; i < FRAME_BITS; i++)
        frame[i / 8] = static_cast<uint8_t>(frame[i / 8] | bits[i] << (7 - i % 8));
}

void frame_unpack(const uint8_t *frame, FrameParams *params) noexcept
{
    int16_t bits[FRAME_BITS];
    for (int i = 0; i < FRAME_BITS; i++)
        bits[i] = static_cast<int16_t>(frame[i / 8] >> (7 - i % 8) & 1);

    int32_t position = 0;
    get_bits(&params->pitch_index, PITCH_BITS, bits, &position);
    for (int k = 0; k < LPC_ORDER; k++)
        get_bits(&params->lsf_index[k], lsf_level_bits[k], bits, &position);
    get_bits(&params->gain_index[0], GAIN_BITS, bits, &position);
    get_bits(&params->gain_index[1], GAIN_BITS, bits, &position);
    get_bits(&params->rs_index, RS_BITS, bits, &position);
    get_bits(&params->as_index, AS_BITS, bits, &position);
}

} // namespace talv
