/* The delay of the codec is taken out: what comes back lies on the recording, and is as long. */
#include "process.h"
#include "sound.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace talv_test;

TEST(Alignment, DecodedSpeechLiesOnTheRecording)
{
    for (const std::string &name : sample_names()) {
        SCOPED_TRACE(name);
        Folder folder;
        const Pcm x = read_pcm(sample(name));
        ASSERT_EQ(run({"encode", "--bare", "-q", sample(name), folder / "x.frames"}).status, 0);
        ASSERT_EQ(run({"decode", "-q", folder / "x.frames", folder / "y.wav"}).status, 0);
        const Pcm y = read_pcm(folder / "y.wav");
        EXPECT_EQ(y.size(), (x.size() + 239) / 240 * 240);
        /* One frame too early or too late would be 240. */
        EXPECT_LE(std::abs(spectral_lag(x, y, 720)), 32);
        EXPECT_NEAR(20 * std::log10(rms(y) / rms(x)), 0, 5);
    }
}

TEST(Alignment, FirstFrameDescribesTheFirstBlock)
{
    /* A loud block at the very beginning, then silence: the level is in the first 240 samples that come back, and the
     * third block is silent again. Were the frames of the silence before the beginning kept, the order would turn. */
    Pcm x(4800, 0);
    const Pcm voice = tone(200, 8000, 240);
    std::copy(voice.begin(), voice.end(), x.begin());
    const std::string frames = run({"encode", "--bare", "-q", "--raw", "-", "-"}, bytes_of(x)).out;
    const Pcm y = pcm_of(run({"decode", "-q", "--raw", "-", "-"}, frames).out);
    ASSERT_EQ(y.size(), x.size());
    const auto level = [&](int block) { return rms(Pcm(y.begin() + 240 * block, y.begin() + 240 * (block + 1))); };
    EXPECT_GT(level(0), 1000);
    EXPECT_LT(level(2), level(0) / 20);
}
