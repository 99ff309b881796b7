/** What a stream remembers, and what it does not: resets, instances, interleaving */
#include "tests/stream/host.h"
#include "tests/support/signals.h"

#include <gtest/gtest.h>

namespace
{

using namespace talv::test;

const Pcm &speech(size_t i)
{
    return clips()[i % clips().size()].pcm;
}

Pcm part(const Pcm &pcm, size_t first_frame, size_t frames)
{
    const auto at = pcm.begin() + static_cast<std::ptrdiff_t>(first_frame * TALV_FRAME_SAMPLES);
    return Pcm(at, at + static_cast<std::ptrdiff_t>(frames * TALV_FRAME_SAMPLES));
}

/** Encode and decode in step, as a host does; a reset of one direction before frame `at` */
struct Host {
    std::vector<Frame> frames;
    Pcm out;

    Host(const Pcm &pcm, const std::vector<Frame> &received, size_t at, int32_t (*reset)(TALV_Codec *))
    {
        const Codec codec = open_codec();
        const size_t n = std::min(pcm.size() / TALV_FRAME_SAMPLES, received.size());
        out.resize(n * TALV_FRAME_SAMPLES);
        for (size_t t = 0; t < n; t++) {
            if (t == at && reset != nullptr) {
                EXPECT_EQ(reset(codec.get()), TALV_OK);
            }
            frames.push_back(encode_one(codec.get(), pcm.data() + t * TALV_FRAME_SAMPLES));
            decode_one(codec.get(), received[t], out.data() + t * TALV_FRAME_SAMPLES);
        }
    }
};

/** A reset in the middle of a stream starts that direction afresh, exactly, and leaves the other one alone */
TEST(Reset, InMidStream)
{
    const size_t at = 40, frames = 80;
    const Pcm pcm = part(speech(0), 0, frames);
    const std::vector<Frame> received = encode(part(speech(1), 0, frames));
    const Host plain(pcm, received, 0, nullptr);

    const Host encoder_reset(pcm, received, at, TALV_EncodeInit);
    EXPECT_EQ(encoder_reset.out, plain.out) << "the decoder noticed";
    const std::vector<Frame> fresh_frames = encode(part(pcm, at, frames - at));
    EXPECT_TRUE(std::equal(plain.frames.begin(), plain.frames.begin() + at, encoder_reset.frames.begin()));
    EXPECT_TRUE(std::equal(fresh_frames.begin(), fresh_frames.end(), encoder_reset.frames.begin() + at));
    EXPECT_NE(encoder_reset.frames, plain.frames) << "a reset without an effect proves nothing";

    const Host decoder_reset(pcm, received, at, TALV_DecodeInit);
    EXPECT_EQ(decoder_reset.frames, plain.frames) << "the encoder noticed";
    const Pcm fresh_out = decode(std::vector<Frame>(received.begin() + at, received.end()));
    const auto cut = static_cast<std::ptrdiff_t>(at * TALV_FRAME_SAMPLES);
    EXPECT_TRUE(std::equal(plain.out.begin(), plain.out.begin() + cut, decoder_reset.out.begin()));
    EXPECT_TRUE(std::equal(fresh_out.begin(), fresh_out.end(), decoder_reset.out.begin() + cut));
    EXPECT_NE(decoder_reset.out, plain.out);
}

/** Two instances with different pasts are one after a reset, whatever the past was */
TEST(Reset, ForgetsEverything)
{
    const Codec a = open_codec(), b = open_codec();
    Random random(5);
    Pcm loud(100 * TALV_FRAME_SAMPLES);
    for (int16_t &v : loud)
        v = static_cast<int16_t>(random.integer(-32768, 32767));
    encode(a.get(), loud);
    encode(b.get(), speech(2));
    std::vector<Frame> junk(200);
    for (Frame &frame : junk)
        for (uint8_t &byte : frame)
            byte = static_cast<uint8_t>(random.integer(0, 255));
    decode(a.get(), junk);
    for (TALV_Codec *codec : {a.get(), b.get()}) {
        TALV_EncodeInit(codec);
        TALV_DecodeInit(codec);
    }
    const std::vector<Frame> frames = encode(a.get(), speech(3));
    EXPECT_EQ(encode(b.get(), speech(3)), frames);
    EXPECT_EQ(encode(speech(3)), frames) << "a fresh instance";
    const Pcm out = decode(a.get(), frames);
    EXPECT_EQ(decode(b.get(), frames), out);
    EXPECT_EQ(decode(frames), out) << "a fresh instance";
}

/** The order of the calls of the two directions does not matter, nor do calls of other instances between them */
TEST(Streams, AnyInterleaving)
{
    const Pcm &first = speech(0), &second = speech(1);
    const std::vector<Frame> first_frames = encode(first), second_frames = encode(second);
    const Pcm first_out = decode(first_frames), second_out = decode(second_frames);

    /* Encoding the one while decoding the other, in runs of random length, on two instances at a time. */
    const uint64_t seed = 12;
    SCOPED_TRACE(seed_note(seed));
    Random random(seed);
    const Codec a = open_codec(), b = open_codec();
    std::vector<Frame> a_frames, b_frames;
    Pcm a_out, b_out;
    while (a_frames.size() < first_frames.size() || b_frames.size() < second_frames.size() ||
           a_out.size() < second_out.size() || b_out.size() < first_out.size()) {
        const int direction = random.integer(0, 1);
        for (int n = random.integer(1, 7), one = random.integer(0, 1); n > 0; n--) {
            TALV_Codec *codec = one == 0 ? a.get() : b.get();
            const Pcm &pcm = one == 0 ? first : second;
            std::vector<Frame> &frames = one == 0 ? a_frames : b_frames;
            const std::vector<Frame> &received = one == 0 ? second_frames : first_frames;
            Pcm &out = one == 0 ? a_out : b_out;
            const size_t heard = out.size() / TALV_FRAME_SAMPLES;
            if (direction == 0 && (frames.size() + 1) * TALV_FRAME_SAMPLES <= pcm.size()) {
                frames.push_back(encode_one(codec, pcm.data() + frames.size() * TALV_FRAME_SAMPLES));
            } else if (direction == 1 && heard < received.size()) {
                out.resize(out.size() + TALV_FRAME_SAMPLES);
                decode_one(codec, received[heard], &out[heard * TALV_FRAME_SAMPLES]);
            }
        }
    }
    EXPECT_EQ(a_frames, first_frames);
    EXPECT_EQ(b_frames, second_frames);
    EXPECT_EQ(a_out, second_out);
    EXPECT_EQ(b_out, first_out);
}

} // namespace
