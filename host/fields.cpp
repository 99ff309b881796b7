#include "talvhost.h"

namespace
{

/* Most significant bit first, one field after another from bit 0 on: 60 bits, then four spare ones. */
constexpr int WIDTHS[TALV_FRAME_FIELDS] = {7, 4, 4, 3, 3, 3, 3, 3, 3, 3, 2, 5, 5, 5, 7};

/* The fields as one list in the order of the bits: the record is made of nothing but 32-bit integers. */
static_assert(sizeof(TALV_FrameFields) == TALV_FRAME_FIELDS * sizeof(int32_t));

int32_t &field(TALV_FrameFields &f, int k)
{
    if (k == 0)
        return f.pitch;
    if (k <= 10)
        return f.lsf[k - 1];
    if (k <= 12)
        return f.gain[k - 11];
    return k == 13 ? f.rs : f.as;
}

} // namespace

extern "C" {

void TALV_FrameUnpack(const uint8_t *frame, TALV_FrameFields *fields)
{
    uint64_t bits = 0;
    for (int i = 0; i < TALV_FRAME_BYTES; i++)
        bits = bits << 8 | frame[i];
    int at = 64;
    for (int k = 0; k < TALV_FRAME_FIELDS; k++) {
        at -= WIDTHS[k];
        field(*fields, k) = static_cast<int32_t>(bits >> at & ((1u << WIDTHS[k]) - 1));
    }
}

int32_t TALV_FramePack(const TALV_FrameFields *fields, uint8_t *frame)
{
    TALV_FrameFields f = *fields;
    uint64_t bits = 0;
    int at = 64;
    for (int k = 0; k < TALV_FRAME_FIELDS; k++) {
        const int32_t value = field(f, k);
        if (value < 0 || value > TALV_FrameFieldMax(k))
            return -1;
        at -= WIDTHS[k];
        bits |= static_cast<uint64_t>(value) << at;
    }
    for (int i = 0; i < TALV_FRAME_BYTES; i++)
        frame[i] = static_cast<uint8_t>(bits >> (56 - 8 * i));
    return 0;
}

int32_t TALV_FrameFieldMax(int32_t k)
{
    return (1 << WIDTHS[k]) - 1;
}

} // extern "C"
