/* Failures: a status, one line that names the file and the reason, and nothing left behind */
#include "process.h"
#include "sound.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace talv_test;

TEST(Failures, NameTheFileAndTheReason)
{
    Folder folder;
    const std::string wav = folder / "in.wav", frames = folder / "in.frames", cut = folder / "cut.frames";
    const std::string text = folder / "text", empty = folder / "empty", gone = folder / "gone",
                      out = folder / "out.wav";
    const Pcm speech = read_pcm(sample("zh_f_gcin"));
    write_pcm(wav, SF_FORMAT_WAV | SF_FORMAT_PCM_16, Pcm(speech.begin(), speech.begin() + 2400));
    ASSERT_EQ(run({"encode", "-q", wav, frames}).status, 0);
    write_file(cut, read_file(frames).substr(0, 77));
    write_file(text, "This is not a recording, nor is it coded speech.");
    write_file(empty, "");
    symlink(wav.c_str(), (folder / "link.wav").c_str());
    const auto before = folder.names();

    struct Case {
        int status;
        Args args;
        std::string message, input;
    };
    const std::string half = ": is not made of whole frames of 8 bytes: 5 left over after 9 frames";
    const std::string alien = ": is not in an audio format that can be read (--raw for samples without a header)";
    const std::string nothing = ": has nothing to show between these moments";
    // clang-format off
    const Case cases[] = {
        {3, {"encode", gone, out},                         gone + ": No such file or directory", ""},
        {3, {"decode", gone, out},                         gone + ": No such file or directory", ""},
        {3, {"plot", wav, gone, out},                      gone + ": No such file or directory", ""},
        {8, {"encode", wav, gone + "/x.frames"},           gone + "/x.frames: No such file or directory", ""},
        {8, {"encode", wav, wav + "/x.frames"},            wav + "/x.frames: Not a directory", ""},
        {3, {"encode", folder / ".", out},                 (folder / ".") + ": Is a directory", ""},
        {9, {"encode", wav, "/dev/full"},                  "/dev/full: No space left on device", ""},
        {9, {"decode", frames, "/dev/full"},               "/dev/full: No space left on device", ""},
        {4, {"encode", text, out},                         text + alien, ""},
        {4, {"encode", "-", out},                          "standard input" + alien, "This is not a recording, but is long enough."},
        {4, {"encode", empty, out},                        empty + ": is empty", ""},
        {4, {"encode", "-", out},                          "standard input: is empty", ""},
        {6, {"decode", cut, out},                          cut + half, ""},
        {6, {"decode", "-", out},                          "standard input" + half, read_file(cut)},
        {4, {"decode", "-", out},                          "standard input: is a recording, not coded speech", read_file(wav)},
        {2, {"decode", frames, folder / "out.mp3"},        (folder / "out.mp3") + ": has none of the endings .wav, .flac, .raw (--raw for bare samples)", ""},
        {11, {"encode", wav, wav},                          wav + ": is the input itself", ""},
        {11, {"encode", wav, folder / "link.wav"},          (folder / "link.wav") + ": is the input itself", ""},
        {11, {"decode", "--raw", frames, frames},           frames + ": is the input itself", ""},
        {11, {"plot", wav, frames, frames},                 frames + ": is the input itself", ""},
        {2, {"plot", wav, frames, out, "--from", "1"},     wav + nothing, ""},
        {2, {"plot", wav, frames, out, "--from=-1"},       wav + nothing, ""},
        {2, {"plot", wav, frames, out, "--to=0"},          wav + nothing, ""},
        {2, {"plot", "-", "-", out},                       "standard input: cannot be both recordings", ""}};
    // clang-format on
    for (const Case &c : cases) {
        const Outcome got = run(c.args, c.input);
        EXPECT_EQ(got.status, c.status) << c.message;
        EXPECT_EQ(got.err, "talv: " + c.message + "\n");
        EXPECT_EQ(got.out, "") << c.message;
        EXPECT_EQ(folder.names(), before) << c.message;
    }
}

TEST(Failures, WrongArgumentsAreToldApart)
{
    for (const Args &args : std::vector<Args>{{},
                                              {"recode"},
                                              {"encode"},
                                              {"encode", "a"},
                                              {"encode", "a", "b", "c"},
                                              {"encode", "--rate", "16000", "a", "b"},
                                              {"decode", "--rate", "8000", "a", "b"}}) {
        const Outcome got = run(args);
        EXPECT_EQ(got.status, 2) << ::testing::PrintToString(args);
        EXPECT_EQ(got.err.substr(0, 6), "talv: ");
        EXPECT_EQ(got.out, "");
    }
    EXPECT_EQ(run({"--version"}).status, 0);
    EXPECT_EQ(run({"--version"}).out.substr(0, 5), "talv ");
    for (const Args &args :
         std::vector<Args>{{"--help"}, {"encode", "--help"}, {"decode", "--help"}, {"plot", "--help"}}) {
        EXPECT_EQ(run(args).status, 0);
        EXPECT_NE(run(args).out.find("Usage: talv"), std::string::npos);
    }
}

TEST(Failures, WholeFramesOfACutPipeAreDecoded)
{
    const std::string frames = run({"encode", "--bare", "-q", sample("zh_f_gcin"), "-"}).out;
    const Outcome got = run({"decode", "-q", "--raw", "-", "-"}, frames.substr(0, 8 * 40 + 3));
    EXPECT_EQ(got.status, 6);
    EXPECT_EQ(got.out, run({"decode", "-q", "--raw", "-", "-"}, frames).out.substr(0, 480 * 40));
}

TEST(Failures, FullDiskLeavesWhatWasThere)
{
    Folder folder;
    ASSERT_EQ(run({"encode", "--bare", "-q", sample("en_m_jfk"), folder / "x.frames"}).status, 0);
    write_file(folder / "y.wav", "old");
    for (const char *name : {"y.wav", "y.flac", "y.raw"}) {
        const Outcome got = run({"decode", "-q", folder / "x.frames", folder / name}, "", 20000);
        EXPECT_EQ(got.status, 9) << name;
        EXPECT_EQ(got.err, "talv: " + (folder / name) + ": File too large\n");
    }
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"x.frames", "y.wav"}));
    EXPECT_EQ(read_file(folder / "y.wav"), "old");
}

TEST(Failures, AnInterruptedRunLeavesNothing)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Folder folder;
        write_file(folder / "out.frames", "old");
        Process tool({"encode", "--bare", "-q", "--raw", "-", folder / "out.frames"});
        tool.feed(bytes_of(tone(300, 5000, 8000)));
        for (int i = 0; i < 2000 && folder.names().size() < 2; i++)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_EQ(folder.names().size(), 2u) << "no temporary file: nothing is under way";
        EXPECT_EQ(read_file(folder / "out.frames"), "old");
        tool.kill(signal);
        const Outcome got = tool.finish();
        EXPECT_EQ(got.signal, signal);
        EXPECT_EQ(folder.names(), std::vector<std::string>{"out.frames"});
        EXPECT_EQ(read_file(folder / "out.frames"), "old");
    }
}

TEST(Failures, AReplacedFileKeepsItsModeAndItsLink)
{
    Folder folder;
    write_file(folder / "real.frames", "old");
    chmod((folder / "real.frames").c_str(), 0640);
    symlink("real.frames", (folder / "link.frames").c_str());
    ASSERT_EQ(run({"encode", "--bare", "-q", sample("zh_f_gcin"), folder / "link.frames"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.frames"));
    struct stat st {
    };
    stat((folder / "real.frames").c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(read_file(folder / "real.frames"), run({"encode", "--bare", "-q", sample("zh_f_gcin"), "-"}).out);
}
