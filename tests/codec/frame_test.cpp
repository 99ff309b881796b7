/** The frame format: where each bit of each field lies */
#include "codec/frame.h"
#include "dsp/lsf_quant.h"
#include "tests/support/signals.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <ostream>

namespace
{

using namespace talv;
using Frame = std::array<uint8_t, FRAME_BYTES>;

/** The fourteen fields in the order of the frame, with their widths */
constexpr int FIELDS = 15;
constexpr int WIDTH[FIELDS] = {7, 4, 4, 3, 3, 3, 3, 3, 3, 3, 2, 5, 5, 5, 7};

int32_t *field(FrameParams &params, int f)
{
    if (f == 0)
        return &params.pitch_index;
    if (f <= LPC_ORDER)
        return &params.lsf_index[f - 1];
    if (f <= LPC_ORDER + 2)
        return &params.gain_index[f - LPC_ORDER - 1];
    return f == FIELDS - 2 ? &params.rs_index : &params.as_index;
}

Frame packed(FrameParams params)
{
    Frame frame;
    frame.fill(0xFF); /* what is left over in the host's buffer must not shine through */
    frame_pack(&params, frame.data());
    return frame;
}

FrameParams unpacked(const Frame &frame)
{
    FrameParams params;
    std::memset(&params, 0x5A, sizeof params);
    frame_unpack(frame.data(), &params);
    return params;
}

TEST(Frame, KnownBytes)
{
    FrameParams params = {};
    EXPECT_EQ(packed(params), (Frame{}));

    params.pitch_index = 85;
    EXPECT_EQ(packed(params), (Frame{0xAA}));

    params = {};
    params.as_index = 1;
    EXPECT_EQ(packed(params), (Frame{0, 0, 0, 0, 0, 0, 0, 0x10}));

    /* Every field full: 60 ones and the four bits that are always 0. */
    for (int f = 0; f < FIELDS; f++)
        *field(params, f) = (1 << WIDTH[f]) - 1;
    EXPECT_EQ(packed(params), (Frame{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0}));

    /* 0000011 1010 0101 110 011 001 111 010 100 101 10 | 11001 00110 | 01011 1000001 */
    params = {3, {10, 5, 6, 3, 1, 7, 2, 4, 5, 2}, {25, 6}, 11, 65};
    EXPECT_EQ(packed(params), (Frame{0x07, 0x4B, 0x99, 0xEA, 0x5B, 0x26, 0x5C, 0x10}));
}

/** A single bit of the frame is a single bit of the field that owns it, most significant first */
TEST(Frame, EverySingleBit)
{
    int bit = 0;
    for (int f = 0; f < FIELDS; f++)
        for (int weight = WIDTH[f] - 1; weight >= 0; weight--, bit++) {
            SCOPED_TRACE("bit " + std::to_string(bit) + " of the frame, field " + std::to_string(f));
            FrameParams params = {};
            *field(params, f) = 1 << weight;
            Frame want = {};
            want[static_cast<size_t>(bit / 8)] = static_cast<uint8_t>(0x80 >> (bit % 8));
            EXPECT_EQ(packed(params), want);

            FrameParams back = unpacked(want);
            for (int g = 0; g < FIELDS; g++)
                EXPECT_EQ(*field(back, g), g == f ? 1 << weight : 0) << "field " << g;
        }
    EXPECT_EQ(bit, FRAME_BITS);
    for (int k = 0; k < LPC_ORDER; k++)
        EXPECT_EQ(lsf_level_bits[k], WIDTH[k + 1]) << "LSF " << k;
}

/** An index beyond its field is cut to the field's low bits; its neighbours keep theirs */
TEST(Frame, NoIndexSpillsOver)
{
    for (int f = 0; f < FIELDS; f++) {
        FrameParams full = {}, beyond = {};
        *field(full, f) = (1 << WIDTH[f]) - 1;
        for (const int32_t value : {-1, (2 << WIDTH[f]) - 1}) {
            *field(beyond, f) = value;
            EXPECT_EQ(packed(beyond), packed(full)) << "field " << f << " of " << value;
        }
    }
}

TEST(Frame, RandomRoundTrip)
{
    const uint64_t seed = 2000;
    SCOPED_TRACE(test::seed_note(seed));
    test::Random random(seed);
    for (int trial = 0; trial < 2000; trial++) {
        FrameParams params;
        for (int f = 0; f < FIELDS; f++)
            *field(params, f) = random.integer(0, (1 << WIDTH[f]) - 1);
        Frame frame = packed(params);
        ASSERT_EQ(frame[7] & 0x0F, 0) << "trial " << trial;
        for (int spare = 0; spare < 16; spare++) { /* the last four bits are the host's */
            frame[7] = static_cast<uint8_t>((frame[7] & 0xF0) | spare);
            const Frame before = frame;
            FrameParams back = unpacked(frame);
            for (int f = 0; f < FIELDS; f++)
                ASSERT_EQ(*field(back, f), *field(params, f)) << "trial " << trial << ", field " << f;
            ASSERT_EQ(frame, before) << "unpacking wrote to the frame";
        }
    }
}

} // namespace
