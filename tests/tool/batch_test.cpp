/* Many files in one run, what is said about them, and what is left when something goes wrong */
#include "process.h"
#include "sound.h"

#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sndfile.h>
#include <sstream>
#include <thread>

using namespace talv_test;

namespace
{

namespace fs = std::filesystem;

Pcm part(size_t n, size_t from = 0)
{
    const Pcm x = read_pcm(sample("en_m_jfk"));
    return Pcm(x.begin() + static_cast<int>(from), x.begin() + static_cast<int>(from + n));
}

void write_wav(const std::string &path, const Pcm &x)
{
    write_pcm(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, x);
}

std::vector<nlohmann::json> json_lines(const std::string &text)
{
    std::vector<nlohmann::json> all;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        all.push_back(nlohmann::json::parse(line));
    return all;
}

/* As Folder::names, of any folder */
std::vector<std::string> names_in(const std::string &path)
{
    std::vector<std::string> names;
    for (const auto &entry : fs::recursive_directory_iterator(path))
        if (entry.is_regular_file())
            names.push_back(fs::relative(entry.path(), path).string());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TEST(Batch, GoesOnPastBadFilesAndEndsWithAStatus)
{
    Folder folder;
    fs::create_directories(folder / "in/deep");
    write_wav(folder / "in/a.wav", part(5000));
    write_wav(folder / "in/b.WAV", part(3001));
    write_wav(folder / "in/deep/c.wav", part(241));
    write_file(folder / "in/bad.wav", "no sound at all, but long enough to be read");
    write_file(folder / "in/notes.txt", "not meant");
    for (const char *jobs : {"1", "3"}) {
        const std::string out = folder / std::string("out").append(jobs);
        const Outcome got = run({"encode", "-r", "-j", jobs, "-d", out, "--json", folder / "in"});
        EXPECT_EQ(got.status, 4) << got.err;
        EXPECT_EQ(names_in(out), (std::vector<std::string>{"a.talv", "b.talv", "deep/c.talv"}));
        const auto lines = json_lines(got.out);
        ASSERT_EQ(lines.size(), 4u);
        int64_t samples = 0;
        for (const auto &line : lines)
            samples += line["samples"].get<int64_t>();
        EXPECT_EQ(samples, 5000 + 3001 + 241);

        ASSERT_EQ(run({"decode", "-q", "-r", "-d", out + "/wav", out}).status, 0);
        EXPECT_EQ(read_pcm(out + "/wav/b.wav").size(), 3001u);
        EXPECT_EQ(read_pcm(out + "/wav/deep/c.wav").size(), 241u);
    }
    /* both ways to say it, and failures of two kinds */
    Outcome got = run({"encode", "-q", folder / "in/a.wav", folder / "in/bad.wav", folder / "gone.wav", folder / "x/"});
    EXPECT_EQ(got.status, 1);
    EXPECT_EQ(std::count(got.err.begin(), got.err.end(), '\n'), 2) << got.err;
    EXPECT_EQ(names_in(folder / "x"), std::vector<std::string>{"a.talv"});
    EXPECT_EQ(run({"encode", "a", "b", folder / "none"}).status, 2);

    write_pcm(folder / "a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, part(900));
    got = run({"encode", "-q", folder / "in/a.wav", folder / "a.flac", folder / "x/"});
    EXPECT_EQ(got.status, 11) << "two inputs, one output";
}

TEST(Batch, ResumeDoesOnlyWhatIsNotDone)
{
    Folder folder;
    write_wav(folder / "a.wav", part(2400));
    write_wav(folder / "b.wav", part(2400));
    const Args again{"encode", "--resume", "--json", folder / "a.wav", folder / "b.wav", "-d", folder / "out"};
    ASSERT_EQ(run({"encode", "-q", folder / "a.wav", "-d", folder / "out"}).status, 0);
    auto lines = json_lines(run(again).out);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0]["skipped"]);
    EXPECT_FALSE(lines[1]["skipped"]);
    fs::last_write_time(folder / "a.wav", fs::file_time_type::clock::now() + std::chrono::hours(1));
    lines = json_lines(run(again).out);
    EXPECT_FALSE(lines[0]["skipped"]) << "the recording is newer";
    EXPECT_TRUE(lines[1]["skipped"]);
}

TEST(Batch, TellsOneLineAFileAndNothingWhenQuiet)
{
    Folder folder;
    write_wav(folder / "a.wav", part(24000));
    Outcome got = run({"encode", folder / "a.wav", folder / "a.talv"});
    EXPECT_EQ(got.out, "");
    EXPECT_EQ(got.err.find("encode " + (folder / "a.wav") + " -> " + (folder / "a.talv") + ": 3.00 s in "), 0u);
    EXPECT_EQ(std::count(got.err.begin(), got.err.end(), '\n'), 1) << got.err;
    got = run({"decode", "-q", folder / "a.talv", folder / "b.wav"});
    EXPECT_EQ(got.out + got.err, "");
}

TEST(Level, WarnsAndMends)
{
    Folder folder;
    const Pcm x = part(40000);
    const auto encode = [&](const Pcm &pcm, const Args &more) {
        write_wav(folder / "x.wav", pcm);
        Args args{"encode", "--json", folder / "x.wav", folder / "x.talv"};
        args.insert(args.end(), more.begin(), more.end());
        const Outcome got = run(args);
        EXPECT_EQ(got.status, 0) << got.err;
        return json_lines(got.out).at(0);
    };
    const auto warning = [](const nlohmann::json &j) { return j["warnings"].dump(); };
    EXPECT_EQ(warning(encode(x, {})), "[]");
    EXPECT_NE(warning(encode(x, {"--gain", "40"})).find("is clipped"), std::string::npos);
    EXPECT_NE(warning(encode(x, {"--gain", "-45"})).find("is very low"), std::string::npos);
    EXPECT_NE(warning(encode(Pcm(8000, 0), {})).find("is silent"), std::string::npos);
    for (const char *gain : {"-20", "6"}) {
        Pcm y;
        for (const int16_t v : x)
            y.push_back(static_cast<int16_t>(std::lrint(v * std::pow(10, std::atof(gain) / 20) / 2)));
        EXPECT_NEAR(encode(y, {"--normalize"})["active_level_dbov"].get<double>(), -26, 0.1) << gain;
    }
    /* A tone half of the time: the pauses, less the hangover of 0.2 s, are not counted. */
    Pcm half;
    for (int k = 0; k < 4; k++) {
        const Pcm t = tone(500, 32768 * 0.1 * std::sqrt(2.0), 16000);
        half.insert(half.end(), t.begin(), t.end());
        half.insert(half.end(), 16000, 0);
    }
    EXPECT_NEAR(encode(half, {})["active_level_dbov"].get<double>(), -20 - 10 * std::log10(1.15), 0.3);
}

TEST(Level, ChannelStartAndDurationChooseWhatIsCoded)
{
    Folder folder;
    const Pcm x = part(24000);
    std::vector<double> stereo;
    for (const int16_t v : x) {
        stereo.push_back(0.01);
        stereo.push_back(v / 32768.0);
    }
    write_sound(folder / "x.wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 8000, 2, stereo);
    ASSERT_EQ(
        run({"convert", "--channel", "2", "--start", "0.5", "--duration", "1.25", folder / "x.wav", folder / "y.wav"})
            .status,
        0);
    EXPECT_EQ(read_pcm(folder / "y.wav"), Pcm(x.begin() + 4000, x.begin() + 14000));
    EXPECT_EQ(run({"encode", "-q", "--channel", "3", folder / "x.wav", folder / "z.talv"}).status, 4);
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "z.talv"}).status, 0);
    ASSERT_EQ(run({"decode", "-q", folder / "z.talv", folder / "all.wav"}).status, 0);
    ASSERT_EQ(run({"decode", "-q", "--start", "0.7", "--duration", "1", folder / "z.talv", folder / "part.wav"}).status,
              0);
    const Pcm all = read_pcm(folder / "all.wav");
    EXPECT_EQ(read_pcm(folder / "part.wav"), Pcm(all.begin() + 5600, all.begin() + 13600));
}

TEST(Partial, InterruptedRunsKeepAValidShorterFile)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Folder folder;
        const Pcm x = part(24000);
        Process tool({"encode", "--raw", "--keep-partial", "-", folder / "x.talv"});
        tool.feed(bytes_of(x));
        for (int i = 0; i < 2000 && folder.names().empty(); i++)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        tool.kill(signal);
        const Outcome got = tool.finish();
        EXPECT_EQ(got.signal, signal) << got.err;
        EXPECT_NE(got.err.find("interrupted; the first"), std::string::npos) << got.err;
        ASSERT_EQ(folder.names(), std::vector<std::string>{"x.talv"});
        EXPECT_EQ(run({"info", folder / "x.talv"}).status, 0);
        ASSERT_EQ(run({"decode", "-q", folder / "x.talv", folder / "x.wav"}).status, 0);
        EXPECT_EQ(read_pcm(folder / "x.wav").size(), x.size());
    }
}

TEST(Partial, CutInputsAndFullDisks)
{
    Folder folder;
    Pcm x;
    for (int k = 0; k < 20; k++)
        for (const int16_t v : part(40000))
            x.push_back(v);
    write_wav(folder / "x.wav", x);
    write_file(folder / "cut.wav", read_file(folder / "x.wav").substr(0, 44 + 2 * 30000));
    for (const bool keep : {false, true}) {
        Args args{"encode", "-q", folder / "cut.wav", folder / "cut.talv"};
        if (keep)
            args.push_back("--keep-partial");
        EXPECT_EQ(run(args).status, 5);
        EXPECT_EQ(fs::exists(folder / "cut.talv"), keep);
    }
    ASSERT_EQ(run({"decode", "-q", folder / "cut.talv", folder / "y.wav"}).status, 0);
    EXPECT_EQ(read_pcm(folder / "y.wav").size(), 30000u);

    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
    EXPECT_EQ(
        run({"encode", "-q", "--keep-partial", "--page-frames", "31", folder / "x.wav", folder / "full.talv"}, "", 9000)
            .status,
        9);
    EXPECT_EQ(run({"decode", "-q", folder / "full.talv", folder / "full.wav"}).status, 0) << "its last page ends it";
    EXPECT_EQ(run({"decode", "-q", "--keep-partial", folder / "x.talv", folder / "z.wav"}, "", 100000).status, 9);
    EXPECT_GT(read_pcm(folder / "z.wav").size(), 30000u);
    const Pcm z = read_pcm(folder / "z.wav");
    EXPECT_EQ(run({"decode", "-q", folder / "x.talv", "/dev/full"}).status, 9);
}

TEST(Partial, AClosedPipeIsAFailureLikeAnyOther)
{
    Folder folder;
    write_wav(folder / "x.wav", part(40000));
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
    const std::string command = std::string(TALV_TOOL) + " decode " + (folder / "x.talv") + " - 2>" + (folder / "err") +
                                "; echo $? >" + (folder / "status");
    ASSERT_EQ(std::system(("( " + command + " ) | head -c 100 >" + (folder / "out")).c_str()), 0);
    for (int i = 0; i < 2000 && !std::ifstream(folder / "status").good(); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(read_file(folder / "status"), "10\n");
    EXPECT_EQ(read_file(folder / "err"), "talv: standard output: Broken pipe\n");
}

TEST(Frames, GoToTextAndBack)
{
    Folder folder;
    write_wav(folder / "x.wav", part(10001));
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.frames"}).status, 0);
    ASSERT_EQ(run({"decode", "-q", folder / "x.talv", folder / "x.out.wav"}).status, 0);
    for (const char *name : {"x.csv", "x.jsonl"}) {
        ASSERT_EQ(run({"frames", folder / "x.talv", folder / name}).status, 0);
        ASSERT_EQ(run({"frames", folder / name, folder / "y.talv"}).status, 0);
        ASSERT_EQ(run({"frames", folder / name, folder / "y.frames"}).status, 0);
        EXPECT_EQ(read_file(folder / "y.frames"), read_file(folder / "x.frames")) << name;
        ASSERT_EQ(run({"decode", "-q", folder / "y.talv", folder / "y.wav"}).status, 0);
        EXPECT_EQ(read_pcm(folder / "y.wav"), read_pcm(folder / "x.out.wav")) << name;
    }
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
    Pcm x;
    for (int k = 0; k < 24; k++)
        for (const int16_t v : part(40000))
            x.push_back(v);
    write_wav(folder / "x.wav", x);
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
    const auto lost = [&](const Args &more) {
        Args args{"decode", "--json", "--raw", folder / "x.talv", folder / "y.raw"};
        args.insert(args.end(), more.begin(), more.end());
        const Outcome got = run(args);
        EXPECT_EQ(got.status, 0) << got.err;
        EXPECT_EQ(fs::file_size(folder / "y.raw"), 2 * x.size()) << "time is kept";
        const std::string text = json_lines(got.out).at(0)["warnings"][0];
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
