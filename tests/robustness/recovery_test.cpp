/* Short forms of what talv_long measures (docs/robustness.md). */
#include "codec/instance.h"
#include "tests/stream/host.h"
#include "tests/support/signals.h"

#include <cstring>
#include <gtest/gtest.h>

namespace talv
{
namespace
{

using test::Random;

/** Frames of a gliding voice in noise, at a level that changes */
std::vector<test::Frame> coded_voice(int count)
{
    const test::Codec codec = test::open_codec();
    std::vector<float> x = test::voiced(count * FRAME_LEN, 40.0, 110.0, 9000.0, 5);
    Random random(6);
    std::vector<test::Frame> frames(static_cast<size_t>(count));
    for (size_t t = 0; t < frames.size(); t++) {
        for (size_t i = t * FRAME_LEN; i < (t + 1) * FRAME_LEN; i++)
            x[i] = x[i] * (t % 20 < 14 ? 1.0f : 0.02f) + static_cast<float>(random.uniform(-40.0, 40.0));
        const std::vector<int16_t> pcm = test::to_pcm({x.begin() + static_cast<std::ptrdiff_t>(t) * FRAME_LEN,
                                                       x.begin() + static_cast<std::ptrdiff_t>(t + 1) * FRAME_LEN});
        uint32_t nbytes = 0;
        TALV_SpeechEncode(codec.get(), pcm.data(), frames[t].data(), &nbytes);
    }
    return frames;
}

/** Garbage leaves nothing behind but a place in the pitch cycle and a state of the noise: with these two taken over, a
 *  decoder that always got good frames gives the same samples. These tries take three good frames at most; of ten
 *  thousand, a few take up to ten for the last bit (docs/robustness.md).                                              */
TEST(Recovery, DecoderAfterGarbage)
{
    constexpr int TRIES = 300, GOOD = 8, SETTLED = 3;
    const auto frames = coded_voice(200);
    const test::Codec hit = test::open_codec(), well = test::open_codec();
    Random random(7);
    int16_t a[FRAME_LEN], b[FRAME_LEN];
    uint32_t nbytes = 0;
    for (int n = 0; n < TRIES; n++) {
        const auto from = static_cast<size_t>(random.integer(0, 150));
        for (int g = random.integer(1, 20); g > 0; g--) {
            test::Frame garbage;
            for (uint8_t &byte : garbage)
                byte = static_cast<uint8_t>(random.next());
            TALV_SpeechDecode(hit.get(), garbage.data(), a, &nbytes);
            TALV_SpeechDecode(well.get(), frames[from].data(), b, &nbytes);
        }
        for (size_t t = 0; t < GOOD; t++) {
            if (t == 1) {
                well->dec.noise_seed = hit->dec.noise_seed;
                well->dec.cycle_phase = hit->dec.cycle_phase;
            }
            TALV_SpeechDecode(hit.get(), frames[from + t].data(), a, &nbytes);
            TALV_SpeechDecode(well.get(), frames[from + t].data(), b, &nbytes);
            if (t >= SETTLED) {
                ASSERT_EQ(std::memcmp(a, b, sizeof a), 0) << "try " << n << ", good frame " << t + 1;
            }
        }
    }
}

/** Whatever was heard, a second of zeros brings the encoder to what it sends and holds in silence */
TEST(Recovery, EncoderAfterAPause)
{
    constexpr int PAUSE = 34;
    const test::Codec codec = test::open_codec(), silent = test::open_codec();
    const int16_t zeros[FRAME_LEN] = {};
    uint8_t frame[FRAME_BYTES], silence[FRAME_BYTES];
    uint32_t nbytes = 0;
    for (int t = 0; t < 2 * PAUSE; t++)
        TALV_SpeechEncode(silent.get(), zeros, silence, &nbytes);
    Random random(8);
    for (const double level : {30.0, 3000.0, 32767.0, 1e6}) { /* the last one is clipped to a square of full scale */
        std::vector<float> x = test::noise(20 * FRAME_LEN, level, random.next());
        for (float &v : x)
            v += static_cast<float>(level) / 4.0f; /* an offset besides */
        const std::vector<int16_t> pcm = test::to_pcm(x);
        for (size_t i = 0; i < pcm.size(); i += FRAME_LEN)
            TALV_SpeechEncode(codec.get(), &pcm[i], frame, &nbytes);
        for (int t = 0; t < PAUSE; t++)
            TALV_SpeechEncode(codec.get(), zeros, frame, &nbytes);
        EXPECT_EQ(std::memcmp(frame, silence, sizeof frame), 0) << level;
        for (int i = 0; i < SIG_HIST_LEN - FRAME_LEN; i++)
            ASSERT_LT(std::fabs(codec->enc.sig_hist[i]), 1e-6f) << level;
    }
}

} // namespace
} // namespace talv
