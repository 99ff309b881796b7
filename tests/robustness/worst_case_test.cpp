/* The worst that frames and samples can do, found by talv_worst; docs/robustness.md says why it is safe. */
#include "tests/robustness/worst_case.h"

#include "codec/dispatch.h"
#include "encoder/conditioning.h"
#include "encoder/encoder.h"
#include "encoder/pitch.h"
#include "encoder/rs.h"

#include <gtest/gtest.h>

namespace talv
{
namespace
{

using namespace test;

Frames frames_of(std::initializer_list<uint64_t> patterns)
{
    Frames frames;
    for (const uint64_t pattern : patterns) {
        FrameBytes frame;
        for (size_t i = 0; i < FRAME_BYTES; i++)
            frame[i] = static_cast<uint8_t>(pattern >> (56 - 8 * i));
        frames.push_back(frame);
    }
    return frames;
}

/* Sizes that the bounds rest on */
static_assert(LAG_MIN + 127 == LAG_MAX_FRAME, "a pitch field of 7 bits cannot leave the range");
static_assert(LAG_MAX_FRAME / 2 + 4 <= MAX_HARMONICS, "harmonic arrays hold whole groups of four beyond the last one");
static_assert(2 * FRAME_LEN / 40 == MAX_SUBFRAMES, "two subframes a cycle: 12 for the lag 40, and no more below it");
static_assert(CYCLE_STORE == 1 + FFT_MAX + 2);
static_assert(400 - FRAME_LEN / 2 - LAG_MAX >= 0, "the first periodicity window and its longest lag lie in rs_hist");
static_assert(160 + FRAME_LEN / QUARTERS - LAG_MAX >= 0, "the longest gain window lies in sig_hist");
static_assert(LAG_MAX - std::max(LAG_MIN, LAG_MAX / 2) < RS_MAX_LAGS);

/** What comes after must not be worse for it: the decoder speaks again as it would have */
TEST(WorstCase, PostfilterOutputIsFarBeyond16BitsAndPasses)
{
    const Frames worst = frames_of({0x990560270a045100, 0xcbe1e9218e436ce0, 0x39ffefc799976000, 0xee00000401c00a50});
    EXPECT_NEAR(decoded_peaks(worst).output, 3.0099e9, 1e5);

    DecoderState dec;
    decoder_reset(&dec);
    FrameParams params;
    int16_t pcm[FRAME_LEN];
    for (const FrameBytes &frame : worst) {
        frame_unpack(frame.data(), &params);
        decoder_synthesise(&dec, &params, pcm);
    }
    int lowest = 0;
    for (const int16_t v : pcm)
        lowest += v == -32768 ? 1 : 0;
    EXPECT_GT(lowest, 0); /* what does not fit becomes the lowest value: there is no saturation */
    const Frames ordinary = frames_of({0x585555555552b440});
    for (int t = 0; t < 3; t++) {
        frame_unpack(ordinary[0].data(), &params);
        decoder_synthesise(&dec, &params, pcm);
    }
    EXPECT_LT(peak(dec.out_hist, 256), 32767.0);
}

TEST(WorstCase, CyclesAndSpeechBeforeThePostfilter)
{
    EXPECT_NEAR(decoded_peaks(frames_of({0x55d514cf943a3c80, 0x16bda7fae9655030, 0x1639ef9e59ce0e90})).speech,
                4.27476e6, 100.0);
    EXPECT_NEAR(decoded_peaks(frames_of({0x56f200b136b59a20, 0x03dc70ff04762810})).coefficient, 1.94504e6, 100.0);
}

/** Alone, a frame can return 42,000 times what the post-filter held. Over and over it cannot: what is held fades. */
TEST(WorstCase, PostfilterMemoryFadesWhateverAlternates)
{
    const Frames once = frames_of({0xb1ffef9300a71890, 0xfffffe565aeb6e90});
    EXPECT_NEAR(norm(postfilter_return(once[0], once[1])), 42475.0, 100.0);
    EXPECT_NEAR(postfilter_growth(frames_of({0xaddffdf95866ecce, 0xc3dffffe98424a6d})), 0.1127, 0.0005);
}

/** A grid of 128 points that is dropped for one of 32 while the position stands at its end */
TEST(WorstCase, ReadPositionsStayInsideACyclesRoom)
{
    const Reads deepest =
        reads_of(frames_of({0xdc32749f57f62bd0, 0x941ae49d71fe27b0, 0x05b352c06ab6e730, 0x08b36025cfef5be0}));
    EXPECT_EQ(deepest.past_guards, 66);
    const Reads longest =
        reads_of(frames_of({0xc96c6c71223e9230, 0x0e3a0c5701d553e0, 0x653ec0f4730f0f60, 0x034fc2a6467798c0}));
    EXPECT_EQ(longest.most_samples, 3);
    const Reads farthest =
        reads_of(frames_of({0xd52d045b82f5ef30, 0x72d18ebc05b16b60, 0x01f0e1d8f7b329f0, 0x918ca4ac152e6a00}));
    EXPECT_NEAR(farthest.phase, 1.04903, 1e-4);
    for (const Reads &reads : {deepest, longest, farthest}) {
        EXPECT_LE(reads.deepest, FFT_MAX + 1);
        EXPECT_LT(reads.phase, 1.0 + 1.0 / LAG_MIN);
    }
}

/** All pairs of lags and lengths: the position that is carried on has passed the end of its grid by less than a step */
TEST(WorstCase, LastStepOfASubframe)
{
    double largest = 0.0, largest_on_128 = 0.0;
    for (int p0 = LAG_MIN; p0 <= LAG_MAX_FRAME; p0++) {
        for (int p1 = LAG_MIN; p1 <= LAG_MAX_FRAME; p1++) {
            const double f0 = 1.0 / (p1 > p0 ? p1 / p0 * p0 : p0), f1 = 1.0 / (p0 > p1 ? p0 / p1 * p1 : p1);
            for (int L = 20; L <= 80; L++) {
                const double last = f0 + (f1 - f0) / L * (L - 1);
                largest = std::max(largest, last);
                largest_on_128 = std::max(largest_on_128, p1 > 64 ? last * 128 : 0.0);
            }
        }
    }
    EXPECT_NEAR(largest, 1.0 / LAG_MIN, 1e-9);
    EXPECT_LT(largest_on_128, 2.07);
    EXPECT_LE(static_cast<int>(128 + largest_on_128) - 32 + 2, FFT_MAX + 1); /* one grid of 32 less: the deepest read */
}

/** Samples at either end of the range, each with the sign that the high-pass will give it 19 blocks later */
TEST(WorstCase, ConditionedSignal)
{
    constexpr int BLOCKS = 20, N = BLOCKS * FRAME_LEN;
    std::vector<double> response(N);
    double w[PREFILTER_TERMS] = {}, sum = 0.0;
    for (int i = 0; i < N; i++) {
        w[0] = i == 0 ? 1.0 : 0.0;
        for (int k = 1; k < PREFILTER_TERMS; k++)
            w[0] -= static_cast<double>(prefilter_den[k]) * w[k];
        double y = 0.0;
        for (int k = 0; k < PREFILTER_TERMS; k++)
            y += static_cast<double>(prefilter_num[k]) * w[k];
        for (int k = PREFILTER_TERMS - 1; k > 0; k--)
            w[k] = w[k - 1];
        response[static_cast<size_t>(i)] = y;
        sum += std::fabs(y);
    }
    EXPECT_NEAR(sum, 3.234, 0.001); /* so nothing above 105,970 comes out of it */

    std::vector<int16_t> pcm(N);
    for (size_t i = 0; i < N; i++)
        pcm[i] = static_cast<int16_t>(response[N - 1 - i] > 0.0 ? 32767 : -32768);
    EncoderState enc = {};
    encoder_reset(&enc);
    double top = 0.0;
    for (int t = 0; t < BLOCKS; t++) {
        FrameParams params;
        encoder_analyse(&enc, pcm.data() + t * FRAME_LEN, &params);
        top = std::max(top, peak(enc.sig_hist, SIG_HIST_LEN));
        for (const float *hist : {enc.res_hist, enc.lp_hist, enc.rs_hist})
            EXPECT_LT(peak(hist, RES_HIST_LEN), 1e9);
    }
    EXPECT_GT(top, 80000.0);
    EXPECT_LT(top, 2 * 3.2341 * 32768); /* the mean that is taken off is no larger */
}

} // namespace
} // namespace talv
