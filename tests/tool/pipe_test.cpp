/* Pipes: the same result as files, nothing but data in them, and every frame as soon as it is known */
#include "process.h"
#include "sound.h"

#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>

using namespace talv_test;

TEST(Pipes, EveryFormatIsReadAsFromAFile)
{
    // clang-format off
    const int formats[] = {
        SF_FORMAT_WAV | SF_FORMAT_PCM_U8,   SF_FORMAT_WAV | SF_FORMAT_PCM_16,   SF_FORMAT_WAV | SF_FORMAT_PCM_24,
        SF_FORMAT_WAV | SF_FORMAT_PCM_32,   SF_FORMAT_WAV | SF_FORMAT_FLOAT,    SF_FORMAT_WAV | SF_FORMAT_DOUBLE,
        SF_FORMAT_WAV | SF_FORMAT_ULAW,     SF_FORMAT_WAV | SF_FORMAT_ALAW,     SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
        SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, SF_FORMAT_RF64 | SF_FORMAT_PCM_16,  SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
        SF_FORMAT_FLAC | SF_FORMAT_PCM_16,  SF_FORMAT_OGG | SF_FORMAT_VORBIS,   SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III};
    // clang-format on
    const Pcm speech = read_pcm(sample("it_m_asterisk"));
    for (int format : formats) {
        SCOPED_TRACE(format);
        Folder folder;
        write_pcm(folder / "x", format, speech);
        const Outcome file = run({"encode", "--bare", "-q", folder / "x", "-"});
        ASSERT_EQ(file.status, 0) << file.err;
        const size_t frames = (speech.size() + 239) / 240;
        EXPECT_GE(file.out.size(), 8 * frames);
        EXPECT_LE(file.out.size(), 8 * (frames + 12)); /* coders of blocks pad their last one */
        const Outcome pipe = run({"encode", "--bare", "-q", "-", "-"}, read_file(folder / "x"));
        EXPECT_EQ(pipe.status, 0) << pipe.err;
        EXPECT_EQ(pipe.out, file.out);
    }
}

TEST(Pipes, WavOfUnknownLengthAndOtherChunks)
{
    const Pcm speech = read_pcm(sample("zh_f_gcin"));
    const std::string wanted = run({"encode", "--bare", "-q", "--raw", "-", "-"}, bytes_of(speech)).out;
    const auto number = [](uint32_t v) {
        return std::string{static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
                           static_cast<char>(v >> 24)};
    };
    const std::string format =
        std::string("fmt ") + number(16) + number(1 | 1 << 16) + number(8000) + number(16000) + number(2 | 16 << 16);
    const std::string list = "LIST" + number(5) + "odd.." + std::string(1, '\0'); /* padded to an even length */
    const std::string samples = bytes_of(speech);
    const auto size = static_cast<uint32_t>(samples.size());
    for (const uint32_t length : {size, 0u, 0xffffffffu, 0x7ffff000u}) {
        SCOPED_TRACE(length);
        const std::string wav =
            "RIFF" + number(0xffffffff) + "WAVE" + list + format + list + "data" + number(length) + samples;
        EXPECT_EQ(run({"encode", "--bare", "-q", "-", "-"}, wav).out, wanted);
    }
    const std::string trailed = "RIFF" + number(0) + "WAVE" + format + "data" + number(size) + samples + list;
    EXPECT_EQ(run({"encode", "--bare", "-q", "-", "-"}, trailed).out, wanted)
        << "what follows the samples is not sound";
}

TEST(Pipes, DecodedSpeechIsWavOrBareSamples)
{
    Folder folder;
    ASSERT_EQ(run({"encode", "--bare", "-q", sample("en_f_libri"), folder / "x.frames"}).status, 0);
    ASSERT_EQ(run({"decode", "-q", folder / "x.frames", folder / "y.wav"}).status, 0);
    const std::string frames = read_file(folder / "x.frames"), wav = read_file(folder / "y.wav");
    EXPECT_EQ(run({"decode", "-q", folder / "x.frames", "-"}).out, wav) << "the length of a file is known beforehand";
    const std::string stream = run({"decode", "-q", "-", "-"}, frames).out;
    EXPECT_EQ(stream.size(), wav.size());
    EXPECT_EQ(stream.substr(44), wav.substr(44));
    EXPECT_EQ(run({"decode", "-q", "--raw", "-", "-"}, frames).out, wav.substr(44));
    ASSERT_EQ(run({"encode", "-q", sample("en_f_libri"), folder / "x.talv"}).status, 0);
    for (const char *name : {"x.talv", "x.frames"}) { /* a file as standard input is a file that has no name */
        const std::string command =
            std::string(TALV_TOOL) + " decode -q - - <" + (folder / name) + " >" + (folder / "z");
        ASSERT_EQ(std::system(command.c_str()), 0) << name;
        EXPECT_NEAR(static_cast<double>(read_file(folder / "z").size()), static_cast<double>(wav.size()), 480) << name;
    }
    ASSERT_EQ(run({"decode", "-q", "-", folder / "late.wav"}, frames).status, 0);
    EXPECT_EQ(read_file(folder / "late.wav"), wav) << "the length of a file is filled in at the end";
    write_file(folder / "stream.wav", stream); /* and a reader makes sense of its open length */
    EXPECT_EQ(read_pcm(folder / "stream.wav"), read_pcm(folder / "y.wav"));
    EXPECT_EQ(run({"encode", "--bare", "-q", "-", "-"}, stream).out,
              run({"encode", "--bare", "-q", folder / "y.wav", "-"}).out);
}

TEST(Pipes, FramesAndSamplesAreHandedOnAtOnce)
{
    const Pcm speech = read_pcm(sample("en_m_jfk"));
    const std::string frames = run({"encode", "--bare", "-q", "--raw", "-", "-"}, bytes_of(speech)).out;

    Process encoder({"encode", "--bare", "-q", "--raw", "-", "-"});
    encoder.feed(bytes_of(Pcm(speech.begin(), speech.begin() + 2400)));
    EXPECT_EQ(encoder.expect(64), frames.substr(0, 64)) << "10 blocks in: 8 frames are known";
    EXPECT_EQ(encoder.finish(bytes_of(Pcm(speech.begin() + 2400, speech.end()))).out, frames);

    Process decoder({"decode", "-q", "--raw", "-", "-"});
    decoder.feed(frames.substr(0, 24));
    EXPECT_EQ(decoder.expect(3 * 480).size(), 3u * 480);
    EXPECT_EQ(decoder.finish(frames.substr(24)).out.size(), 60 * frames.size());
}

TEST(Pipes, MessagesOfTheCodecStayOutOfTheData)
{
    /* A pure tone for which the encoder finds no envelope in some frames, and says so on standard output. */
    const std::string x = bytes_of(tone(2000, 16000, 8000));
    const std::string message = "getlsf2: Problem index =  -4\n";
    Folder folder;
    const Outcome to_file = run({"encode", "--bare", "-q", "--raw", "-", folder / "x.frames"}, x);
    EXPECT_EQ(to_file.status, 0);
    ASSERT_NE(to_file.out.find(message), std::string::npos) << "no message, so nothing to be kept apart";
    EXPECT_EQ(to_file.err, "");

    for (const char *name : {"-", "/dev/stdout"}) {
        const Outcome to_pipe = run({"encode", "--bare", "-q", "--raw", "-", name}, x);
        EXPECT_EQ(to_pipe.status, 0);
        EXPECT_EQ(to_pipe.out, read_file(folder / "x.frames")) << name;
        EXPECT_EQ(to_pipe.err, to_file.out) << name;
    }
}

TEST(Pipes, NamedPipesAndDevicesAreNotReplaced)
{
    Folder folder;
    ASSERT_EQ(run({"encode", "--bare", "-q", sample("en_child_f_so762"), "/dev/null"}).status, 0);
    struct stat st {
    };
    ASSERT_EQ(stat("/dev/null", &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode));

    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    Process reader({"decode", "-q", "--raw", folder / "pipe", "-"});
    ASSERT_EQ(run({"encode", "--bare", "-q", sample("en_child_f_so762"), folder / "pipe"}).status, 0);
    EXPECT_EQ(reader.finish().out.size(), 480u * 97); /* 2.89 s: 96.3 frames */
    EXPECT_EQ(folder.names(), std::vector<std::string>{"pipe"});
}
