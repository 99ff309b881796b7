/* Every copy of the blocks that this processor can run gives the same frames and samples. */
#include "codec/dispatch.h"

#include "decoder/decoder.h"
#include "encoder/encoder.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

/** Voice, noise and squares of full scale, tones that leave no envelope, and near silence, in turn */
std::vector<int16_t> changing_signal(int frames, uint64_t seed)
{
    constexpr int N = 12 * FRAME_LEN;
    Random random(seed);
    std::vector<float> x;
    for (int passage = 0; passage * N < frames * FRAME_LEN; passage++) {
        const int kind = passage % 5;
        const std::vector<float> part = kind == 0   ? test::voiced(N, 40.0, 90.0, 20000.0, random.next())
                                        : kind == 1 ? test::noise(N, 32767.0, random.next())
                                        : kind == 2 ? test::tone(N, random.uniform(1700.0, 2600.0), 12000.0)
                                        : kind == 3 ? test::tone(N, random.uniform(60.0, 200.0), 1e9)
                                                    : test::noise(N, 2.0, random.next());
        x.insert(x.end(), part.begin(), part.end());
    }
    return test::to_pcm(x);
}

/** The other copy of the blocks beside the baseline, on frames of the signal and on frames of anything */
TEST(Dispatch, EveryCopyCodesAlike)
{
    const FrameRoutines *const copies[2] = {&baseline_routines, choose_routines()};
    if (copies[0] == copies[1])
        GTEST_SKIP() << "one copy of the blocks only";
    for (uint64_t seed = 70; seed < 74; seed++) {
        const std::vector<int16_t> pcm = changing_signal(300, seed);
        EncoderState encoder[2] = {};
        DecoderState decoder[2];
        for (int c = 0; c < 2; c++) {
            encoder_reset(&encoder[c]);
            decoder_reset(&decoder[c]);
        }
        testing::internal::CaptureStdout(); /* the tones are reported, once by each copy */
        Random random(seed);
        for (int f = 0; f < 300 && !HasFailure(); f++) {
            uint64_t sent[2] = {};
            int16_t heard[2][3 * FRAME_LEN];
            const uint64_t anything[2] = {random.next(), random.next()};
            for (int c = 0; c < 2; c++) {
                FrameParams params;
                copies[c]->encoder_analyse(&encoder[c], pcm.data() + f * FRAME_LEN, &params);
                frame_pack(&params, reinterpret_cast<uint8_t *>(&sent[c]));
                for (int i = 0; i < 3; i++) {
                    frame_unpack(reinterpret_cast<const uint8_t *>(i == 0 ? &sent[c] : &anything[i - 1]), &params);
                    copies[c]->decoder_synthesise(&decoder[c], &params, heard[c] + i * FRAME_LEN);
                }
            }
            EXPECT_EQ(sent[0], sent[1]) << "frame " << f << ", " << test::seed_note(seed);
            EXPECT_TRUE(std::equal(heard[0], heard[0] + 3 * FRAME_LEN, heard[1]))
                << "frame " << f << ", " << test::seed_note(seed);
        }
        testing::internal::GetCapturedStdout();
    }
}

} // namespace
} // namespace talv
