/* Every copy of the blocks that this processor can run gives the same frames and samples. */
#include "codec/dispatch.h"

#include "decoder/decoder.h"
#include "encoder/encoder.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

std::vector<const FrameRoutines *> runnable_copies()
{
    std::vector<const FrameRoutines *> copies = {&baseline_routines};
    if (choose_routines() != &baseline_routines)
        copies.push_back(choose_routines());
    return copies;
}

/** Blocks of speech-like pulses, noise, tones that leave no envelope, full scale and near silence, in turn */
std::vector<int16_t> changing_signal(int frames, uint64_t seed)
{
    Random random(seed);
    std::vector<int16_t> pcm;
    for (int n = 0; n < frames * FRAME_LEN; n++) {
        const int passage = n / (12 * FRAME_LEN);
        const double t = n;
        double v = 0.0;
        switch (passage % 5) {
        case 0:
            v = n % (40 + 7 * passage % 90) == 0 ? 20000.0 : random.uniform(-300.0, 300.0);
            break;
        case 1:
            v = random.uniform(-32768.0, 32767.0);
            break;
        case 2:
            v = 12000.0 * std::sin(t * (0.4 + 0.19 * (passage % 11)));
            break;
        case 3:
            v = n / (20 + passage) % 2 == 0 ? 32767.0 : -32768.0;
            break;
        default:
            v = random.uniform(-2.0, 2.0);
        }
        pcm.push_back(static_cast<int16_t>(std::lrint(std::clamp(v, -32768.0, 32767.0))));
    }
    return pcm;
}

bool same_params(const FrameParams &a, const FrameParams &b)
{
    return a.pitch_index == b.pitch_index && std::equal(a.lsf_index, a.lsf_index + LPC_ORDER, b.lsf_index) &&
           std::equal(a.gain_index, a.gain_index + 2, b.gain_index) && a.rs_index == b.rs_index &&
           a.as_index == b.as_index;
}

TEST(Dispatch, EveryCopyEncodesAlike)
{
    const auto copies = runnable_copies();
    if (copies.size() < 2)
        GTEST_SKIP() << "one copy of the blocks only";
    for (uint64_t seed = 70; seed < 74; seed++) {
        const std::vector<int16_t> pcm = changing_signal(300, seed);
        std::vector<EncoderState> states(copies.size());
        for (EncoderState &state : states) {
            state = {};
            encoder_reset(&state);
        }
        testing::internal::CaptureStdout(); /* the tones are reported, once by each copy */
        int differs = -1;
        for (int f = 0; f < 300 && differs < 0; f++) {
            FrameParams first, other;
            copies[0]->encoder_analyse(&states[0], pcm.data() + f * FRAME_LEN, &first);
            for (size_t c = 1; c < copies.size(); c++) {
                copies[c]->encoder_analyse(&states[c], pcm.data() + f * FRAME_LEN, &other);
                if (!same_params(first, other))
                    differs = f;
            }
        }
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(differs, -1) << "first frame that differs, " << test::seed_note(seed);
    }
}

TEST(Dispatch, EveryCopyDecodesAlike)
{
    const auto copies = runnable_copies();
    if (copies.size() < 2)
        GTEST_SKIP() << "one copy of the blocks only";
    Random random(75);
    std::vector<DecoderState> states(copies.size());
    for (DecoderState &state : states)
        decoder_reset(&state);
    for (int f = 0; f < 3000; f++) {
        uint8_t frame[FRAME_BYTES];
        for (uint8_t &byte : frame)
            byte = static_cast<uint8_t>(random.next());
        FrameParams params;
        frame_unpack(frame, &params);
        std::vector<int16_t> first(FRAME_LEN), other(FRAME_LEN);
        copies[0]->decoder_synthesise(&states[0], &params, first.data());
        for (size_t c = 1; c < copies.size(); c++) {
            copies[c]->decoder_synthesise(&states[c], &params, other.data());
            ASSERT_EQ(first, other) << "frame " << f << " of seed 75";
        }
    }
}

} // namespace
} // namespace talv
