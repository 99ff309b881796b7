/* Formats in and out: rates, channels, containers, headerless samples */
#include "failure.h"
#include "process.h"
#include "sound.h"
#include "speech_in.h"

#include <atomic>
#include <cerrno>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <sndfile.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace talv_test;

namespace
{

/* Four tones in the passband of any sensible resampler, amplitudes 0.2 down to 0.05; t in seconds */
double tones(double t)
{
    double y = 0;
    for (int k = 0; k < 4; k++)
        y += 0.2 / (k + 1) * std::sin(2 * std::numbers::pi * (210 + 970 * k) * t + k);
    return y;
}

std::atomic<int> closed_twice{0};

} // namespace

/* Of the whole process, libraries and all: what a program defines comes before what they bring. */
extern "C" int close(int fd)
{
    const long result = syscall(SYS_close, fd);
    if (result != 0 && errno == EBADF)
        closed_twice++;
    return static_cast<int>(result);
}

TEST(Formats, AnyRateAndChannelsGiveTheSamplesAt8kHz)
{
    /* The channels differ by a tone that cancels in their mean, so a channel taken alone would be far off. What comes
     * out is compared with the same tones computed at 8 kHz. */
    struct Case {
        int rate_hz, channels, format;
        double snr_db;
    };
    // clang-format off
    const Case cases[] = {
        {  8000, 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT,   75},
        {  8000, 1, SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 75},
        { 11025, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16,  70},
        { 16000, 2, SF_FORMAT_AU | SF_FORMAT_PCM_16,   70},
        { 44100, 2, SF_FORMAT_CAF | SF_FORMAT_PCM_24,  70},
        { 48000, 2, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 70},
        { 48000, 6, SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 70},
        {192000, 1, SF_FORMAT_WAV | SF_FORMAT_DOUBLE,  70}};
    // clang-format on
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.rate_hz) + " Hz, channels " + std::to_string(c.channels));
        Folder folder;
        const int n = c.rate_hz + 7;
        std::vector<double> x;
        for (int i = 0; i < n; i++) {
            const double t = static_cast<double>(i) / c.rate_hz;
            for (int k = 0; k < c.channels; k++) {
                const double apart = c.channels == 1 ? 0 : (k % 2 == 0 ? 0.3 : -0.3) * std::sin(5000 * t);
                x.push_back(tones(t) + apart);
            }
        }
        write_sound(folder / "x", c.format, c.rate_hz, c.channels, x);
        const Pcm y = talv::load_speech(folder / "x", std::nullopt);
        EXPECT_NEAR(static_cast<double>(y.size()), 8000.0 * n / c.rate_hz, 1);
        double signal = 0, error = 0;
        for (size_t i = 800; i + 800 < y.size(); i++) { /* the ends ring: what lies beyond them is cut */
            const double want = 32768 * tones(static_cast<double>(i) / 8000);
            signal += want * want;
            error += (y[i] - want) * (y[i] - want);
        }
        EXPECT_GT(10 * std::log10(signal / error), c.snr_db);
    }
}

TEST(Formats, WhatIsBeyondTheBandOrTheRangeIsHeldBack)
{
    Folder folder;
    std::vector<double> high, loud;
    for (int i = 0; i < 48000; i++)
        high.push_back(0.5 * std::sin(2 * std::numbers::pi * 5000 * i / 48000));
    write_sound(folder / "high.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 48000, 1, high);
    Pcm y = talv::load_speech(folder / "high.wav", std::nullopt);
    EXPECT_LT(rms(Pcm(y.begin() + 800, y.end() - 800)), 1); /* 5 kHz would fold to 3 kHz */

    for (const double v : {2.0, -2.0, 32767.0 / 32768, -1.0, std::nan(""), 0.4 / 32768, 0.6 / 32768})
        loud.push_back(v);
    write_sound(folder / "loud.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 8000, 1, loud);
    EXPECT_EQ(talv::load_speech(folder / "loud.wav", std::nullopt), (Pcm{32767, -32768, 32767, -32768, 0, 0, 1}));
}

TEST(Formats, RawTakesRateAndChannels)
{
    Pcm stereo;
    for (int i = 0; i < 16000; i++) {
        const double y = 32768 * tones(i / 16000.0);
        stereo.push_back(static_cast<int16_t>(std::lrint(1.5 * y)));
        stereo.push_back(static_cast<int16_t>(std::lrint(0.5 * y)));
    }
    Folder folder;
    write_file(folder / "x.raw", bytes_of(stereo));
    const Pcm y = talv::load_speech(folder / "x.raw", talv::RawFormat{16000, 2});
    ASSERT_EQ(y.size(), 8000u);
    for (size_t i = 800; i < 7200; i++)
        ASSERT_NEAR(y[i], 32768 * tones(static_cast<double>(i) / 8000), 8) << "sample " << i;

    const Args raw{"encode", "--bare", "-q", "--raw", "--rate", "16000", "--channels", "2", folder / "x.raw", "-"};
    EXPECT_EQ(run(raw).out.size(), 8u * 34); /* 1 s: 33.3 frames */
}

TEST(Formats, DecodedFilesHoldTheSameSamples)
{
    Folder folder;
    ASSERT_EQ(run({"encode", "--bare", "-q", sample("ru_f_asterisk"), folder / "x.frames"}).status, 0);
    for (const char *name : {"y.wav", "y.flac", "y.raw", "y.WAV"})
        ASSERT_EQ(run({"decode", "-q", folder / "x.frames", folder / name}).status, 0) << name;
    ASSERT_EQ(run({"decode", "-q", "--raw", folder / "x.frames", folder / "bare.wav"}).status, 0);
    const Pcm y = pcm_of(read_file(folder / "y.raw"));
    EXPECT_EQ(y.size(), 240 * read_file(folder / "x.frames").size() / 8);
    EXPECT_EQ(read_pcm(folder / "y.wav"), y);
    EXPECT_EQ(read_pcm(folder / "y.flac"), y);
    EXPECT_EQ(read_file(folder / "y.WAV"), read_file(folder / "y.wav"));
    EXPECT_EQ(read_file(folder / "bare.wav"), read_file(folder / "y.raw"));
}

TEST(Formats, ConvertWritesWhatTheCodecIsGiven)
{
    Folder folder;
    const Pcm x = read_pcm(sample("en_m_libri"));
    ASSERT_EQ(run({"convert", sample("en_m_libri"), folder / "same.flac"}).status, 0);
    EXPECT_EQ(read_pcm(folder / "same.flac"), x) << "at 8 kHz there is nothing to be done";

    std::vector<double> wide;
    for (int i = 0; i < 44100; i++)
        wide.push_back(tones(i / 44100.0));
    write_sound(folder / "wide.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 44100, 1, wide);
    ASSERT_EQ(run({"convert", folder / "wide.wav", folder / "narrow.wav"}).status, 0);
    EXPECT_EQ(read_pcm(folder / "narrow.wav"), talv::load_speech(folder / "wide.wav", std::nullopt));
    EXPECT_EQ(run({"encode", "--bare", "-q", folder / "narrow.wav", "-"}).out,
              run({"encode", "--bare", "-q", folder / "wide.wav", "-"}).out);
}

TEST(Formats, NothingInNothingOut)
{
    Folder folder;
    write_pcm(folder / "x.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, {});
    ASSERT_EQ(run({"encode", "--bare", "-q", folder / "x.wav", folder / "x.frames"}).status, 0);
    EXPECT_EQ(read_file(folder / "x.frames"), "");
    ASSERT_EQ(run({"decode", "-q", folder / "x.frames", folder / "y.wav"}).status, 0);
    EXPECT_EQ(read_pcm(folder / "y.wav"), Pcm{});
    const Outcome flac = run({"decode", "-q", folder / "x.frames", folder / "y.flac"});
    EXPECT_EQ(flac.status, 8);
    EXPECT_EQ(flac.err, "talv: " + (folder / "y.flac") + ": would hold no samples, which FLAC cannot say\n");
}

TEST(Formats, DescriptorsAreClosedOnce)
{
    /* The second time it could be that of another file, which another thread has just opened. */
    Folder folder;
    for (const char *bytes :
         {"no sound at all, but long enough to be read", "RIFF....WAVEfmt ", "fLaC0000", "OggS000"}) {
        write_file(folder / "x", bytes);
        EXPECT_THROW(talv::load_speech(folder / "x", std::nullopt), talv::Failure) << bytes;
    }
    EXPECT_EQ(talv::load_speech(sample("it_m_asterisk"), std::nullopt), read_pcm(sample("it_m_asterisk")));
    EXPECT_EQ(closed_twice, 0);
}
