/** Signals that are not speech, and frames that no encoder made */
#include "tests/stream/host.h"
#include "tests/stream/spectrum.h"
#include "tests/support/signals.h"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>

namespace
{

using namespace talv::test;

constexpr size_t F = TALV_FRAME_SAMPLES;

/** The frame as a number; the last four bits are 0 */
uint64_t number(const Frame &frame)
{
    uint64_t v = 0;
    for (const uint8_t byte : frame)
        v = v << 8 | byte;
    return v;
}

/** Digital silence goes through every stage like any signal */
TEST(Silence, FieldsFromAReset)
{
    const std::string text = captured([] {
        const std::vector<Frame> frames = encode(Pcm(30 * F, 0));
        const uint64_t pitch[7] = {44, 31, 20, 12, 5, 0, 0};
        for (size_t t = 0; t < frames.size(); t++) {
            SCOPED_TRACE("frame " + std::to_string(t));
            EXPECT_EQ(number(frames[t]) >> 57, t < 7 ? pitch[t] : 0);
            /* LSFs, gains and periodicity: first the vector that a reset sets, then the envelope of the floor noise */
            EXPECT_EQ(number(frames[t]) >> 11 & 0x3FFFFFFFFFFF, t == 0 ? 0x22996932943F : 0x2ADA6D44943F);
        }
        const Pcm out = decode(frames);
        for (const int16_t v : out)
            ASSERT_LE(std::abs(v), 8) << "silence comes back as next to silence";
    });
    EXPECT_EQ(text, "");
}

Pcm sine(size_t frames, double hz, double amplitude)
{
    return to_pcm(tone(static_cast<int>(frames * F), hz, amplitude));
}

/** Share of a signal's energy within `width` Hz of a frequency; 4000 samples, Hann window */
double share_near(const int16_t *x, double hz, double width)
{
    constexpr int N = 4000;
    double w[N], near = 0.0, all = 0.0;
    for (int i = 0; i < N; i++) {
        w[i] = x[i] * (0.5 - 0.5 * std::cos(2.0 * M_PI * i / N));
        all += w[i] * w[i] * N / 2.0; /* the bins from 0 to N/2, by Parseval's theorem */
    }
    for (int k = static_cast<int>(std::ceil((hz - width) * N / 8000.0)); k <= (hz + width) * N / 8000.0; k++) {
        std::complex<double> bin = 0.0;
        for (int i = 0; i < N; i++)
            bin += w[i] * std::polar(1.0, 2.0 * M_PI * (i * k % N) / N);
        near += std::norm(bin);
    }
    return near / all;
}

/** A steady tone may hide its envelope from the analysis. A message says so, the frame is as valid as any, and a tone
 *  comes out. */
TEST(Tone, ComesOutAsATone)
{
    struct Case {
        double hz;
        bool message;
    };
    const std::string problem = "getlsf2: Problem index =  -4\n";
    for (const Case &c : {Case{300.0, false}, {1000.0, false}, {2000.0, true}, {2400.0, false}})
        for (const double amplitude : {500.0, 2000.0}) {
            SCOPED_TRACE(std::to_string(c.hz) + " Hz, amplitude " + std::to_string(amplitude));
            const Pcm pcm = sine(100, c.hz, amplitude);
            const Codec codec = open_codec();
            std::vector<Frame> frames;
            std::vector<size_t> messages;
            for (size_t t = 0; t < 100; t++) {
                const std::string text = captured([&] { frames.push_back(encode_one(codec.get(), &pcm[t * F])); });
                if (!text.empty()) {
                    EXPECT_EQ(text, problem) << "call " << t;
                    messages.push_back(t);
                }
            }
            if (c.message) {
                ASSERT_FALSE(messages.empty());
                EXPECT_EQ(messages[0], 1u) << "the second call has the first block of tone alone";
            } else {
                EXPECT_TRUE(messages.empty());
            }
            const Pcm out = decode(frames);
            for (const size_t t : {20u, 60u}) {
                /* measured: 0.95 or more of the energy within 40 Hz of the tone */
                EXPECT_GT(share_near(&out[t * F], c.hz, 40.0), 0.85) << "frame " << t;
                EXPECT_GT(rms(&out[t * F], 4000), 0.5 * amplitude) << "frame " << t;
            }
        }
}

/** Tone, then speech: the stream finds its way back at once */
TEST(Tone, SpeechAfterIt)
{
    const Pcm &speech = clips()[0].pcm;
    const Codec codec = open_codec();
    captured([&] { encode(codec.get(), sine(50, 2000.0, 8000.0)); });
    const Pcm after = decode(encode(codec.get(), speech)), fresh = decode(encode(speech));
    const size_t from = 10 * F;
    EXPECT_NEAR(20.0 * std::log10(rms(&after[from], after.size() - from) / rms(&fresh[from], fresh.size() - from)), 0.0,
                1.0);
}

/** The largest signals there are: squares and alternating extremes, in every phase to the frame */
TEST(FullScale, Squares)
{
    for (const int half : {1, 2, 3, 5, 20, 40, 59, 240, 1000}) {
        SCOPED_TRACE("half period " + std::to_string(half) + " samples");
        Pcm pcm(60 * F);
        for (size_t i = 0; i < pcm.size(); i++)
            pcm[i] = i / static_cast<size_t>(half) % 2 == 0 ? 32767 : -32768;
        const Codec codec = open_codec();
        std::vector<Frame> frames;
        captured([&] { frames = encode(codec.get(), pcm); });
        ASSERT_EQ(frames.size(), 60u);
        Pcm out;
        EXPECT_EQ(captured([&] { out = decode(codec.get(), frames); }), "");
        if (half >= 20 && half <= 59) {
            EXPECT_GT(rms(&out[20 * F], 20 * F), 3000.0) << "a loud square does not vanish";
        }
        /* and it leaves nothing behind that speech could not recover from */
        const Pcm &speech = clips()[0].pcm;
        const Pcm after = decode(encode(codec.get(), speech)), fresh = decode(encode(speech));
        const size_t from = 40 * F;
        EXPECT_NEAR(20.0 * std::log10(rms(&after[from], after.size() - from) / rms(&fresh[from], fresh.size() - from)),
                    0.0, 1.0);
    }
}

TEST(RandomInput, WhiteNoiseComesOutAsNoise)
{
    Random random(77);
    Pcm pcm(400 * F);
    for (int16_t &v : pcm)
        v = static_cast<int16_t>(random.integer(-8000, 8000));
    std::vector<Frame> frames;
    EXPECT_EQ(captured([&] { frames = encode(pcm); }), "");
    double rs = 0.0;
    for (const Frame &frame : frames)
        rs += (frame[6] >> 3) / static_cast<double>(frames.size());
    EXPECT_GT(rs, 20.0) << "the rows of the periodicity codebook go from periodic to noisy";
    /* A cycle has 0.6 of its gain (-4.4 dB), the cross-fade of unlike cycles takes up to a third of the power (-1.8 dB)
     * and on a flat envelope the post-filter is 0.75 + 0.25 z^-1 (-2.0 dB). */
    const Pcm out = decode(frames);
    const double level = 20.0 * std::log10(rms(&out[10 * F], 380 * F) / rms(&pcm[10 * F], 380 * F));
    EXPECT_NEAR(level, -8.2, 1.5);
}

std::vector<Frame> random_frames(size_t n, uint64_t seed)
{
    Random random(seed);
    std::vector<Frame> frames(n);
    for (Frame &frame : frames)
        for (uint8_t &byte : frame)
            byte = static_cast<uint8_t>(random.next());
    return frames;
}

/** Every pattern of bits is a frame */
TEST(RandomFrames, DecodeAndRepeat)
{
    const uint64_t seed = 10000;
    SCOPED_TRACE(seed_note(seed));
    std::vector<Frame> frames = random_frames(10000, seed);
    Pcm out;
    EXPECT_EQ(captured([&] { out = decode(frames); }), "");
    EXPECT_EQ(decode(frames), out) << "the same frames, the same samples";
    size_t changes = 0;
    for (size_t i = 1; i < out.size(); i++)
        changes += out[i] != out[i - 1];
    EXPECT_GT(changes, out.size() / 2);

    for (Frame &frame : frames) /* the spare bits are the host's */
        frame[7] ^= 0x0F;
    EXPECT_EQ(decode(frames), out);

    /* 10,000 frames of anything, and a reset makes the instance new */
    const Codec codec = open_codec();
    decode(codec.get(), frames);
    TALV_DecodeInit(codec.get());
    const std::vector<Frame> speech = encode(clips()[0].pcm);
    EXPECT_EQ(decode(codec.get(), speech), decode(speech));
}

/** LSFs all at their largest level crowd at 4000 Hz and drive the samples beyond 16 bits. There is no saturation: what
 *  does not fit comes out as -32768, and so never as 32767 in a row. */
TEST(LargestLsf, GoesBeyondSixteenBits)
{
    Frame frame = {};
    for (int i = 7; i < 38; i++) /* the LSF fields */
        frame[static_cast<size_t>(i / 8)] |= static_cast<uint8_t>(0x80 >> (i % 8));
    frame[0] |= 60 << 1; /* lag 80 */
    size_t lowest = 0;
    for (int gains = 0; gains < 1024; gains += 33) {
        frame[4] = static_cast<uint8_t>((frame[4] & 0xFC) | gains >> 8);
        frame[5] = static_cast<uint8_t>(gains);
        const Pcm out = decode(std::vector<Frame>(20, frame));
        lowest += static_cast<size_t>(std::count(out.begin(), out.end(), -32768));
    }
    EXPECT_GT(lowest, 1000u);
}

} // namespace
