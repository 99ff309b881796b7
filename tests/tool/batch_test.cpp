/* Many files in one run, what is said about them, and what is left when something goes wrong */
#include "coded.h"
#include "process.h"
#include "sound.h"

#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <thread>

using namespace talv_test;

namespace
{

namespace fs = std::filesystem;

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

TEST(Batch, ResumeDoesAgainWhatWasKeptInPart)
{
    Folder folder;
    write_wav(folder / "a.wav", part(24000));
    const std::string whole = read_file(folder / "a.wav");
    write_file(folder / "a.wav", whole.substr(0, 20000));
    const Args again{"encode", "--resume", "--keep-partial", "-q", folder / "a.wav", "-d", folder / "out"};
    EXPECT_EQ(run(again).status, 5);
    ASSERT_TRUE(fs::exists(folder / "out/a.talv"));
    EXPECT_EQ(run(again).status, 5) << "still in part, and not taken for done";
    write_file(folder / "a.wav", whole);
    EXPECT_EQ(run(again).status, 0);
    EXPECT_EQ(json_lines(run({"info", "--json", folder / "out/a.talv"}).out).at(0)["samples"], 24000);
    const auto done = fs::last_write_time(folder / "out/a.talv");
    EXPECT_EQ(run(again).status, 0);
    EXPECT_EQ(fs::last_write_time(folder / "out/a.talv"), done);
}

TEST(Batch, AnInterruptedBatchLeavesNothingHalfDone)
{
    Folder folder;
    const Pcm x = long_voice(30);
    Args args{"encode", "-j", "3", "-q", "-d", folder / "out"};
    for (const char *name : {"a.wav", "b.wav", "c.wav"}) {
        write_wav(folder / name, x);
        args.push_back(folder / name);
    }
    Process tool(args);
    const auto under_way = [&] { return fs::exists(folder / "out") ? names_in(folder / "out").size() : 0; };
    for (int i = 0; i < 4000 && under_way() < 3; i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    tool.kill(SIGINT);
    EXPECT_EQ(tool.finish().signal, SIGINT);
    for (const std::string &name : names_in(folder / "out")) /* a quick machine may be done with some */
        EXPECT_EQ(run({"info", folder / "out/" + name}).status, 0) << name;
}

TEST(Batch, AProgressBarOnATerminalAlone)
{
    const Pcm x = part(40000);
    Folder folder;
    write_wav(folder / "x.wav", x);
    const std::string wav = read_file(folder / "x.wav");
    for (const bool quiet : {false, true}) {
        Args args{"encode", "--gain", "-12", "-", folder / "x.talv"};
        if (quiet)
            args.push_back("-q");
        Process tool(args, 0, true);
        for (size_t at = 0; at < wav.size(); at += 20000) { /* slowly: the bar is drawn ten times a second at most */
            tool.feed(wav.substr(at, 20000));
            tool.wait_until_fed();
            std::this_thread::sleep_for(std::chrono::milliseconds(120));
        }
        const Outcome got = tool.finish();
        ASSERT_EQ(got.status, 0) << got.err;
        if (quiet) {
            EXPECT_EQ(got.err, "");
            continue;
        }
        for (const char *sign : {"\rencode [", "====", " %  ", " times real time, ", " s left", "\r\x1b[K"})
            EXPECT_NE(got.err.find(sign), std::string::npos) << sign << " is not in " << got.err;
        const size_t cleared = got.err.rfind("\r\x1b[K");
        EXPECT_EQ(got.err.find("encode standard input -> ", cleared), cleared + 4) << "the bar gives way to the line";
    }
}

TEST(Batch, TellsOneLineAFileAndNothingWhenQuiet)
{
    Folder folder;
    write_wav(folder / "a.wav", part(24000));
    Outcome got = run({"encode", "--gain", "-12", folder / "a.wav", folder / "a.talv"});
    EXPECT_EQ(got.out, "");
    EXPECT_EQ(got.err.find("encode " + (folder / "a.wav") + " -> " + (folder / "a.talv") + ": 3.00 s in "), 0u);
    EXPECT_EQ(std::count(got.err.begin(), got.err.end(), '\n'), 1) << got.err;
    got = run({"decode", "-q", folder / "a.talv", folder / "b.wav"});
    EXPECT_EQ(got.out + got.err, "");
}

TEST(Level, WarnsAndMends)
{
    Folder folder;
    const Pcm x = read_pcm(sample("en_m_libri"));
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
    const Pcm loud = read_pcm(sample("en_m_jfk"));
    EXPECT_NE(warning(encode(loud, {})).find("is very loud"), std::string::npos);
    for (const bool normal : {false, true}) { /* what then happens to it, and what helps */
        encode(loud, normal ? Args{"--normalize"} : Args{});
        const auto decoded = json_lines(run({"decode", "--json", folder / "x.talv", folder / "y.wav"}).out).at(0);
        const Pcm y = read_pcm(folder / "y.wav");
        const auto beyond = std::count(y.begin(), y.end(), INT16_MIN);
        EXPECT_EQ(warning(decoded).find("leaves the range of 16 bits in " + std::to_string(beyond) + " samples") !=
                      std::string::npos,
                  !normal)
            << warning(decoded);
        EXPECT_EQ(beyond > 0, !normal);
    }
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
        tool.wait_until_fed();
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
    const Pcm x = long_voice(20);
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

    /* FLAC knows its length too, and is read to its end before it is coded when it comes from a pipe. */
    write_pcm(folder / "x.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, part(40000));
    const std::string flac = read_file(folder / "x.flac").substr(0, fs::file_size(folder / "x.flac") * 2 / 3);
    write_file(folder / "cut.flac", flac);
    for (const char *name : {"cut.flac", "-"}) {
        const std::string in = name[0] == '-' ? name : folder / name;
        Outcome got = run({"encode", "-q", in, folder / "f.talv"}, flac);
        EXPECT_EQ(got.status, 5) << got.err;
        EXPECT_NE(got.err.find(" samples before its end"), std::string::npos) << got.err;
        EXPECT_FALSE(fs::exists(folder / "f.talv"));
        EXPECT_EQ(run({"encode", "-q", "--keep-partial", in, folder / "f.talv"}, flac).status, 5);
        const auto j = json_lines(run({"info", "--json", folder / "f.talv"}).out).at(0);
        EXPECT_EQ(j["status"], 0);
        EXPECT_GT(j["samples"], 20000);
        EXPECT_LT(j["samples"], 40000);
        fs::remove(folder / "f.talv");
    }

    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
    EXPECT_EQ(
        run({"encode", "-q", "--keep-partial", "--page-frames", "31", folder / "x.wav", folder / "full.talv"}, "", 9000)
            .status,
        9);
    EXPECT_EQ(run({"decode", "-q", folder / "full.talv", folder / "full.wav"}).status, 0) << "its last page ends it";
    EXPECT_EQ(run({"decode", "-q", "--keep-partial", folder / "x.talv", folder / "z.wav"}, "", 100000).status, 9);
    EXPECT_GT(read_pcm(folder / "z.wav").size(), 30000u);
    EXPECT_EQ(run({"decode", "-q", folder / "x.talv", "/dev/full"}).status, 9);
}

TEST(Partial, AClosedPipeIsAFailureLikeAnyOther)
{
    Folder folder;
    write_coded(folder, part(40000));
    const std::string command = std::string(TALV_TOOL) + " decode " + (folder / "x.talv") + " - 2>" + (folder / "err") +
                                "; echo $? >" + (folder / "status");
    ASSERT_EQ(std::system(("( " + command + " ) | head -c 100 >" + (folder / "out")).c_str()), 0);
    for (int i = 0; i < 2000 && !std::ifstream(folder / "status").good(); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(read_file(folder / "status"), "10\n");
    EXPECT_EQ(read_file(folder / "err"), "talv: standard output: Broken pipe\n");
}
