/* The vectors that the trainer collects, and which frames it takes for speech. */
#include "training/amplitudes.h"

#include "dsp/as_codebook.h"
#include "dsp/vq.h"
#include "tests/support/signals.h"
#include "training/table_file.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace talv
{
namespace
{

std::vector<std::pair<std::string, std::vector<int16_t>>> material()
{
    std::vector<std::pair<std::string, std::vector<int16_t>>> all = {
        {"silence", std::vector<int16_t>(24000)},
        {"tone", test::to_pcm(test::tone(24000, 310.0, 9000.0))},
        {"noise", test::to_pcm(test::noise(24000, 3000.0, 31))},
        {"gliding voice", test::to_pcm(test::voiced(48000, 158.0, 22.0, 8000.0, 32))},
        {"full scale", test::to_pcm(test::voiced(24000, 40.0, 90.0, 60000.0, 33))},
    };
    for (const auto &file : std::filesystem::directory_iterator(TALV_SAMPLES_DIR))
        if (file.path().extension() == ".wav")
            all.emplace_back(file.path().filename().string(), read_pcm(file.path().string()));
    return all;
}

/** The vector is computed apart from the encoder: it must be the one that the encoder quantised. */
TEST(Amplitudes, AreWhatTheEncoderQuantises)
{
    for (const auto &[name, pcm] : material()) {
        const std::vector<AmplitudeFrame> frames = analyse_amplitudes(pcm);
        ASSERT_EQ(frames.size(), pcm.size() / FRAME_LEN) << name;
        for (size_t t = 0; t < frames.size(); t++) {
            float vector[AS_DIM];
            double square = 0.0;
            int32_t index = -1;
            std::copy_n(frames[t].amplitude, AS_DIM, vector);
            for (float v : vector)
                square += static_cast<double>(v) * static_cast<double>(v);
            ASSERT_NEAR(square, AS_DIM, 1e-5) << name << ", frame " << t;
            vq_search(AS_DIM, AS_DIM, vector, AS_ROWS, as_codebook, &index);
            ASSERT_EQ(index, frames[t].as_index) << name << ", frame " << t;
        }
    }
}

TEST(Amplitudes, LevelIsThatOfTheSamplesAroundTheCycle)
{
    /* A tone of whole periods in 240 samples, from frame 10 on: the window is centred on the end of the block before
     * the last, so that half of it is filled with one call of delay and all of it with two. */
    std::vector<float> x = test::tone(FRAME_LEN * 30, 500.0, 4000.0);
    std::fill_n(x.begin(), FRAME_LEN * 10, 0.0f);
    const std::vector<AmplitudeFrame> frames = analyse_amplitudes(test::to_pcm(x));
    EXPECT_LT(frames[10].rms, 1.0f);
    EXPECT_NEAR(frames[11].rms, 4000.0 / 2.0, 40.0);
    EXPECT_NEAR(frames[20].rms, 4000.0 / std::sqrt(2.0), 20.0);
}

/** Frames of the given levels; nothing else of them counts here */
std::vector<AmplitudeFrame> levels(const std::vector<float> &rms)
{
    std::vector<AmplitudeFrame> frames(rms.size());
    for (size_t i = 0; i < rms.size(); i++)
        frames[i].rms = rms[i];
    return frames;
}

TEST(SpeechThreshold, LiesAMarginBelowTheLevelOfWhatIsAboveIt)
{
    const double margin = std::pow(10.0, -15.9 / 20.0);
    /* all speech is at 1000, and pauses at 40 stay out, though they are three quarters of the time */
    std::vector<float> rms(100, 1000.0f);
    rms.resize(400, 40.0f);
    EXPECT_NEAR(speech_threshold(levels(rms)), 1000.0 * margin, 0.01);
    /* it goes with the level of the recording */
    for (float &v : rms)
        v *= 3.0f;
    EXPECT_NEAR(speech_threshold(levels(rms)), 3000.0 * margin, 0.03);
    /* weak speech, 12 dB down, is in */
    EXPECT_NEAR(speech_threshold(levels({1000.0f, 1000.0f, 250.0f})), std::sqrt((1e6 + 1e6 + 62500.0) / 3.0) * margin,
                0.01);
    /* nothing below -70 dBFS is speech */
    EXPECT_GE(speech_threshold(levels({3.0f, 5.0f, 4.0f})), 10.0f);
    EXPECT_GE(speech_threshold({}), 10.0f);
}

/** Voices that the table was not trained on: it has to serve them about as well as those it was */
TEST(TableInUse, ServesTheRecordedVoices)
{
    const Codebook in_use = read_table(TALV_SOURCE_DIR "/dsp/as_codebook.h");
    double cost = 0.0;
    size_t n = 0;
    for (const auto &[name, pcm] : material()) {
        if (name.find(".wav") == std::string::npos)
            continue;
        const std::vector<AmplitudeFrame> frames = analyse_amplitudes(pcm);
        const float threshold = speech_threshold(frames);
        size_t active = 0;
        for (const AmplitudeFrame &frame : frames) {
            if (frame.rms < threshold)
                continue;
            float row[AS_DIM];
            int32_t index = -1;
            std::copy_n(frame.amplitude, AS_DIM, row);
            vq_search(AS_DIM, AS_DIM, row, AS_ROWS, in_use.data(), &index);
            for (int d = 0; d < AS_DIM; d++)
                cost += std::pow(static_cast<double>(frame.amplitude[d]) - static_cast<double>(row[d]), 2.0);
            active++;
        }
        const double share = static_cast<double>(active) / static_cast<double>(frames.size());
        EXPECT_GT(share, 0.3) << name << ": speech is split from its pauses";
        EXPECT_LT(share, 0.98) << name; /* two frames at least lie before the recording */
        n += active;
    }
    ASSERT_GT(n, 500u);
    EXPECT_GT(10.0 * std::log10(AS_DIM * static_cast<double>(n) / cost), 11.2) << "dB, " << n << " vectors";
}

TEST(ReadPcm, RefusesWhatIsNoAudioOfItsRate)
{
    EXPECT_THROW(read_pcm("no such file.wav"), std::runtime_error);
    EXPECT_THROW(read_pcm(__FILE__), std::runtime_error);
}

} // namespace
} // namespace talv
