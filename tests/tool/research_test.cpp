/* What is for research and for users who look it up: frames as text, simulated channels, info, manual, completion */
#include "coded.h"
#include "process.h"
#include "sound.h"

#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>

using namespace talv_test;
namespace fs = std::filesystem;

TEST(Frames, GoToTextAndBack)
{
    Folder folder;
    write_coded(folder, part(10001));
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.frames"}).status, 0);
    ASSERT_EQ(run({"decode", "-q", folder / "x.talv", folder / "x.out.wav"}).status, 0);
    for (const char *name : {"x.csv", "x.JSONL"}) {
        ASSERT_EQ(run({"frames", folder / "x.talv", folder / name}).status, 0);
        ASSERT_EQ(run({"frames", folder / name, folder / "y.talv"}).status, 0);
        ASSERT_EQ(run({"frames", folder / name, folder / "y.FRAMES"}).status, 0);
        EXPECT_EQ(read_file(folder / "y.FRAMES"), read_file(folder / "x.frames")) << name;
        ASSERT_EQ(run({"decode", "-q", folder / "y.talv", folder / "y.wav"}).status, 0);
        EXPECT_EQ(read_pcm(folder / "y.wav"), read_pcm(folder / "x.out.wav")) << name;
    }
    /* A lost frame's numbers mean nothing: the frame that decoding puts there is written. */
    std::string lost = read_file(folder / "x.JSONL");
    const size_t at = lost.find("\"lost\":false", lost.find("\"frame\":20,"));
    lost.replace(at, 12, "\"lost\":true");
    write_file(folder / "lost.jsonl", lost);
    write_file(folder / "pattern",
               std::string(18, '0') + "1" + std::string(100, '0')); /* bare: without the first two */
    ASSERT_EQ(run({"frames", folder / "lost.jsonl", folder / "lost.frames"}).status, 0);
    EXPECT_EQ(
        run({"decode", "-q", "--raw", folder / "lost.frames", "-"}).out,
        run({"decode", "-q", "--raw", "--loss", "pattern:" + (folder / "pattern"), folder / "x.frames", "-"}).out);
    /* from one pipe into another, where no name tells which way it goes */
    const std::string lines = run({"frames", folder / "x.talv", "-", "--format", "jsonl"}).out;
    EXPECT_EQ(lines, read_file(folder / "x.JSONL"));
    EXPECT_EQ(run({"frames", "--bare", "-", "-"}, lines).out, read_file(folder / "x.frames"));

    std::istringstream csv(read_file(folder / "x.csv"));
    std::string header, first;
    std::getline(csv, header);
    std::getline(csv, first);
    EXPECT_EQ(header,
              "frame,sample,samples,lost,pitch,lsf0,lsf1,lsf2,lsf3,lsf4,lsf5,lsf6,lsf7,lsf8,lsf9,gain0,gain1,rs,as");
    EXPECT_EQ(first.find("0,-480,0,0,44,8,10,3,1,3,2,2,3,1,1,"), 0u) << "the start vector of the encoder: " << first;

    for (const char *bad : {"pitch,rs\n1,2\n", "{\"pitch\":1}\n", "pitch\n"}) {
        write_file(folder / "bad.csv", bad);
        const Outcome got = run({"frames", folder / "bad.csv", folder / "z.talv"});
        EXPECT_EQ(got.status, 4) << bad;
        EXPECT_NE(got.err.find("bad.csv: line 1 "), std::string::npos) << got.err;
    }
    write_file(folder / "bad.csv", header + "\n0,0,240,0,128,0,0,0,0,0,0,0,0,0,0,0,0,0,0\n");
    EXPECT_NE(
        run({"frames", folder / "bad.csv", folder / "z.talv"}).err.find("line 2 has 128 for pitch, which is 0 to 127"),
        std::string::npos);

    /* Found by the fuzzer: conversions without a result */
    const auto line = [](const std::string &pitch, const std::string &sample) {
        return "{\"sample\":" + sample + ",\"pitch\":" + pitch +
               ",\"lsf\":[0,0,0,0,0,0,0,0,0,0],\"gain\":[0,0],\"rs\":0,\"as\":0}\n";
    };
    for (const char *number : {"1e300", "2.5", "18446744073709551615", "\"1\"", "[[]]"}) {
        for (const std::string &bad : {line(number, "0"), line("0", number)}) {
            write_file(folder / "bad.jsonl", bad);
            const Outcome got = run({"frames", folder / "bad.jsonl", folder / "z.talv"});
            EXPECT_EQ(got.status, 4) << bad;
            EXPECT_NE(got.err.find("line 1 has a value that is no whole number"), std::string::npos) << got.err;
        }
    }
    write_file(folder / "early.jsonl", line("0", "-9223372036854775808"));
    EXPECT_EQ(run({"frames", folder / "early.jsonl", folder / "z.talv"}).status, 0);
}

TEST(Channel, LosesWhatTheModelSays)
{
    Folder folder;
    const Pcm x = long_voice(24);
    write_coded(folder, x);
    const auto lost = [&](const Args &more) {
        Args args{"decode", "--json", "--raw", folder / "x.talv", folder / "y.raw"};
        args.insert(args.end(), more.begin(), more.end());
        const Outcome got = run(args);
        EXPECT_EQ(got.status, 0) << got.err;
        EXPECT_EQ(fs::file_size(folder / "y.raw"), 2 * x.size()) << "time is kept";
        const std::string text = json_lines(got.out).at(0)["warnings"].back();
        return std::pair{std::stod(text.substr(text.find(": ") + 2)), std::stod(text.substr(text.find("lost, ") + 6))};
    };
    const double frames = std::ceil(static_cast<double>(x.size()) / 240) + 2; /* 4002: a deviation is 19 of 400 */
    EXPECT_NEAR(lost({"--loss", "random:0.1"}).first, 0.1 * frames, 80);
    EXPECT_NEAR(lost({"--loss", "burst:0.1:3"}).first, 0.1 * frames, 180);
    EXPECT_EQ(lost({"--loss", "random:1"}).first, frames);
    EXPECT_NEAR(lost({"--ber", "0.01"}).second, 0.01 * 60 * frames, 200);
    write_file(folder / "pattern", "0001\n");
    EXPECT_EQ(lost({"--loss", "pattern:" + (folder / "pattern")}).first, std::floor(frames / 4));
    const std::string once = read_file(folder / "y.raw");
    lost({"--loss", "pattern:" + (folder / "pattern"), "--seed", "9"});
    EXPECT_EQ(read_file(folder / "y.raw"), once);
    EXPECT_EQ(run({"decode", "--loss", "often", folder / "x.talv", folder / "y.raw"}).status, 2);
}

TEST(Info, SaysWhatIsInAFile)
{
    Folder folder;
    std::string csv = "pitch,lsf0,lsf1,lsf2,lsf3,lsf4,lsf5,lsf6,lsf7,lsf8,lsf9,gain0,gain1,rs,as\n";
    for (int i = 0; i < 100; i++) /* lags of 80 and 40 samples, periodic; 100 and 200 Hz */
        csv += (i % 4 == 0 ? "60" : "20") + std::string(",8,10,3,1,3,2,2,3,1,1,26,29,0,0\n");
    write_file(folder / "x.csv", csv);
    ASSERT_EQ(run({"frames", folder / "x.csv", folder / "x.talv"}).status, 0);
    const auto j = json_lines(run({"info", "--json", folder / "x.talv"}).out).at(0);
    EXPECT_EQ(j["duration_s"], 3.0);
    EXPECT_EQ(j["frames"], 100);
    EXPECT_EQ(j["bytes"], fs::file_size(folder / "x.talv"));
    EXPECT_NEAR(j["speech"]["pitch_hz"]["p05"].get<double>(), 100, 0.1);
    EXPECT_NEAR(j["speech"]["pitch_hz"]["median"].get<double>(), 200, 0.1);
    EXPECT_EQ(j["speech"]["voiced_percent"], 100.0);
    EXPECT_NEAR(j["speech"]["level_dbov"].get<double>(), 20 * std::log10(3410.0 / 32768), 0.2);
    write_wav(folder / "y.wav", part(2400));
    ASSERT_EQ(run({"encode", "-q", "--comment", "TITLE=Fragen", "--comment", "LANGUAGE=de", folder / "y.wav",
                   folder / "y.talv"})
                  .status,
              0);
    const Outcome text = run({"info", folder / "y.talv"});
    EXPECT_NE(text.out.find("TITLE=Fragen"), std::string::npos);
    EXPECT_NE(text.out.find("LANGUAGE=de"), std::string::npos);
    EXPECT_EQ(run({"info", folder / "y.wav"}).status, 4);
}

TEST(Documents, NameEveryCommandAndOption)
{
    const std::string help = run({"encode", "--help"}).out;
    for (const char *kind : {"man", "bash", "zsh", "fish"}) {
        std::string text = run({"document", kind}).out;
        std::erase(text, '\\');
        for (const char *word : {"encode", "decode", "convert", "info", "frames", "plot", "keep-partial",
                                 "output-folder", "normalize", "loss"})
            EXPECT_NE(text.find(word), std::string::npos) << kind << ": " << word;
    }
}

TEST(Documents, BashCompletesCommandsOptionsAndFiles)
{
    if (std::system("command -v bash >/dev/null") != 0)
        GTEST_SKIP() << "bash is not installed";
    Folder folder;
    write_file(folder / "a recording.wav", "");
    write_file(folder / "talv.bash", run({"document", "bash"}).out);
    const auto complete = [&](const std::string &words, int at) {
        const std::string command = "cd " + (folder / "") + " && bash -c 'source ./talv.bash; COMP_WORDS=(" + words +
                                    "); COMP_CWORD=" + std::to_string(at) +
                                    "; _talv; printf \"%s\\n\" \"${COMPREPLY[@]}\"' >said 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return read_file(folder / "said");
    };
    EXPECT_EQ(complete("talv de", 1), "decode\n");
    EXPECT_EQ(complete("talv encode --nor", 2), "--normalize\n");
    EXPECT_EQ(complete("talv decode --nor", 2), "\n");
    EXPECT_EQ(complete("talv encode a", 2), "a recording.wav\n");
}

TEST(Documents, MagicEntryRecognisesCodedSpeech)
{
    if (std::system("command -v file >/dev/null") != 0)
        GTEST_SKIP() << "file(1) is not installed";
    Folder folder;
    write_wav(folder / "x.wav", part(2400));
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x"}).status, 0);
    const std::string command =
        "file -b -m " TALV_MAGIC " " + (folder / "x") + " " + (folder / "x.wav") + " >" + (folder / "said");
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string said = read_file(folder / "said");
    EXPECT_EQ(said.find("talv speech in Ogg, 2000 bit/s, version 1, recorded at 8000 Hz\n"), 0u) << said;
    EXPECT_EQ(said.find("talv", 5), std::string::npos) << said;
}
