/* talv: speech to 2000 bit/s and back, on the command line. The arguments are read here, and failures end here. */
#include "commands.h"
#include "documents.h"
#include "interrupt.h"
#include "standard_streams.h"
#include "version.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <talvcodec.h>
#include <talvsearch.h>

namespace
{

using talv::Status;

constexpr const char *NOTES =
    R"(Coded files (.talv) are Ogg streams: they decode to exactly as many samples as went in,
and damage is noticed. Bare frames (.frames, or --bare) are nothing but 8 bytes for every
30 ms. What a file is, its content tells.
- stands for standard input or output. An output file appears when it is complete;
until then, and after a failure, what stood in its place is untouched.)";

constexpr const char *ENCODE_HELP =
    R"(One recording IN to the coded file OUT, or any number of them into a folder: the last
name, if it is one, or that of --output-folder.
IN may be WAV, FLAC, Ogg, MP3, AIFF or any other format of libsndfile, at any rate
and with any number of channels: they are averaged and resampled to 8 kHz. From a
pipe, WAV and --raw are coded as they come and every frame is passed on at once;
another format is read to its end first.
Recordings that are clipped, silent, very low or very loud are warned of.)";

constexpr const char *DECODE_HELP =
    R"(One coded file IN to the recording OUT, or any number of them into a folder: the last
name, if it is one, or that of --output-folder.
OUT is 16-bit mono at 8 kHz: WAV, FLAC or bare little-endian samples by its ending
(.wav, .flac, .raw). Standard output, pipes and devices receive WAV, or bare samples
with --raw. What was lost by damage is replaced: the last frame is held, faded, and
then there is silence, so that time is kept; the exit status is then 7.
Models of --loss: random:RATE, burst:RATE:LENGTH (mean length in frames),
pattern:FILE (0 for a frame that comes, 1 for one that is lost, over and over).)";

constexpr const char *CONVERT_HELP =
    R"(Write what the codec would be given: 8 kHz, mono, 16 bits, to be compared with what
comes back. IN as for encode, OUT as for decode.)";

constexpr const char *INFO_HELP =
    R"(Length, size, comments, damage, and what the frames say: range of the pitch, voicing,
level. A damaged file is told by the exit status too.)";

constexpr const char *FRAMES_HELP =
    R"(IN is coded speech and OUT receives a line for each frame, as CSV (.csv) or JSON lines
(.jsonl): its number, its first sample's place in the recording, how many of its 240
samples belong to it, whether it was lost, and its fields. Or IN is such lines, and OUT a
coded file (.talv, .frames, or any with --bare). Columns besides are passed over; a frame
that was lost is replaced as decode does.)";

constexpr const char *PLOT_HELP =
    R"(plot [ORIGINAL] DECODED OUT: ORIGINAL and DECODED are recordings in any format; DECODED
may be a coded file, which is then decoded, and its pitch, voicing, gain and LSFs are
drawn too (the pitch where the frame is voiced by half or more). OUT is a picture: SVG if
it ends in .svg, else PNG.)";

/* What encode and convert share */
struct RawArguments {
    bool given = false;
    talv::RawFormat format;
};

void add_speech(CLI::App *command, talv::SpeechOptions &speech, RawArguments &arguments)
{
    CLI::Option *raw =
        command->add_flag("--raw", arguments.given, "IN is 16-bit little-endian samples without a header");
    command->add_option("--rate", arguments.format.rate_hz, "Sample rate of --raw in Hz")
        ->needs(raw)
        ->check(CLI::Range(1000, 1536000))
        ->capture_default_str();
    command->add_option("--channels", arguments.format.channels, "Channels of --raw")
        ->needs(raw)
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
    command->add_option("--channel", speech.channel, "Channel to take, from 1 on; none: the mean of all")
        ->check(CLI::Range(1, 1024));
    command->add_option("--start", speech.start_s, "First moment, in seconds")->check(CLI::Range(0.0, 1e9));
    command->add_option("--duration", speech.duration_s, "Length, in seconds")->check(CLI::Range(0.0, 1e9));
    CLI::Option *gain =
        command->add_option("--gain", speech.gain_db, "Amplify by so many dB")->check(CLI::Range(-100.0, 100.0));
    command->add_flag("--normalize", speech.normalize, "Bring the active speech level to -26 dBov")->excludes(gain);
}

void add_batch(CLI::App *command, talv::BatchOptions &batch)
{
    command->add_option("FILES", batch.names, "IN... and OUT, or IN... alone with --output-folder")->required();
    command->add_option("-d,--output-folder", batch.folder, "Folder for the outputs, made if need be");
    command->add_option("-j,--jobs", batch.jobs, "Files at work at once")
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
    command->add_flag("-r,--recursive", batch.recursive, "IN may be a folder: all that is in it");
    command->add_flag(
        "--resume", batch.resume,
        "Leave out what is done: outputs no older than their input. What was kept in part is dated before it");
    command->add_flag("--keep-partial", batch.keep_partial,
                      "Keep a valid shorter file after a failure or an interruption");
    command->add_flag("-q,--quiet", batch.quiet, "Tell failures alone");
    command->add_flag("--json", batch.json, "Report each file as a JSON object on a line of standard output");
}

void add_coded(CLI::App *command, talv::CodedFormat &format)
{
    command->add_flag("--bare", format.bare, "Write bare frames, whatever the ending");
    command->add_option("--page-frames", format.page_frames, "Frames a page of the Ogg stream; none: 496, on a pipe 1")
        ->check(CLI::Range(1, 7000));
}

} // namespace

int main(int argc, char **argv)
{
    talv::settle_standard_streams();
    std::signal(SIGPIPE, SIG_IGN); /* a reader that has gone is a failure like any other, with a line and a status */

    CLI::App app{"Speech at 2000 bit/s", "talv"};
    app.footer(NOTES + std::string("\nExit status:\n") + talv::exit_statuses());
    app.set_version_flag("--version", talv::VERSION);
    app.require_subcommand(1);
    Status status = Status::done;

    talv::EncodeJob encode;
    RawArguments encode_raw;
    CLI::App *command = app.add_subcommand("encode", "Encode recordings");
    command->footer(ENCODE_HELP);
    add_batch(command, encode.batch);
    add_coded(command, encode.format);
    add_speech(command, encode.speech, encode_raw);
    command
        ->add_option("-e,--effort", encode.effort,
                     "Work on better speech: 0 none, 3 five times as fast as live, 5 most; any decoder plays it")
        ->check(CLI::Range(0, TALV_SEARCH_EFFORT_MAX))
        ->capture_default_str();
    command->add_option("--comment", encode.comments, "Comment of the file, as in TITLE=Speech; may be repeated")
        ->allow_extra_args(false)
        ->check([](const std::string &s) {
            return s.find('=') == 0 || s.find('=') == std::string::npos ? "a comment is NAME=value" : "";
        });
    command->callback([&] {
        if (encode_raw.given)
            encode.speech.raw = encode_raw.format;
        status = talv::encode_command(encode);
    });

    talv::DecodeJob decode;
    command = app.add_subcommand("decode", "Decode coded speech");
    command->footer(DECODE_HELP);
    add_batch(command, decode.batch);
    command->add_flag("--raw", decode.raw, "Write samples without a header, whatever the ending");
    command->add_option("--format", decode.format, "Format of the outputs in a folder")
        ->check(CLI::IsMember({"wav", "flac", "raw"}))
        ->capture_default_str();
    command->add_option("--start", decode.start_s, "First moment, in seconds")->check(CLI::Range(0.0, 1e9));
    command->add_option("--duration", decode.duration_s, "Length, in seconds")->check(CLI::Range(0.0, 1e9));
    command->add_option("--loss", decode.channel.loss, "Lose frames on a simulated channel, by a model");
    command->add_option("--ber", decode.channel.ber, "Turn bits over on a simulated channel, at this rate")
        ->check(CLI::Range(0.0, 1.0));
    command->add_option("--seed", decode.channel.seed, "Of the simulated channel's chances")->capture_default_str();
    command->callback([&] { status = talv::decode_command(decode); });

    talv::ConvertJob convert;
    RawArguments convert_raw;
    command = app.add_subcommand("convert", "Write a recording as the codec is given it");
    command->footer(CONVERT_HELP);
    command->add_option("IN", convert.in, "Recording")->required();
    command->add_option("OUT", convert.out, "Recording at 8 kHz")->required();
    add_speech(command, convert.speech, convert_raw);
    command->callback([&] {
        if (convert_raw.given)
            convert.speech.raw = convert_raw.format;
        talv::convert_command(convert);
    });

    talv::InfoJob info;
    command = app.add_subcommand("info", "Tell what is in coded files");
    command->footer(INFO_HELP);
    command->add_option("FILES", info.names, "Coded files")->required();
    command->add_flag("--json", info.json, "As a JSON object on a line for each file");
    command->callback([&] { status = talv::info_command(info); });

    talv::FramesJob frames;
    command = app.add_subcommand("frames", "Write the fields of the frames as text, or frames from such text");
    command->footer(FRAMES_HELP);
    command->add_option("IN", frames.in, "Coded file, or lines")->required();
    command->add_option("OUT", frames.out, "Lines, or coded file")->required();
    command->add_option("--format", frames.format, "Format of the lines, whatever the ending")
        ->check(CLI::IsMember({"csv", "jsonl"}));
    add_coded(command, frames.coded);
    command->callback([&] { talv::frames_command(frames); });

    talv::PlotJob plot;
    command = app.add_subcommand("plot", "Draw waveform, spectrogram and tracks");
    command->footer(PLOT_HELP);
    command->add_option("FILES", plot.names, "[ORIGINAL] DECODED OUT")->required()->expected(2, 3);
    command->add_option("--title", plot.title, "Line above the picture");
    command->add_option("--from", plot.from_s, "First moment shown, in seconds");
    command->add_option("--to", plot.to_s, "Last moment shown, in seconds");
    command->callback([&] { talv::plot_command(plot); });

    std::string document;
    command = app.add_subcommand("document", "Print the manual page or a shell's completion")->group("");
    command->add_option("KIND", document, "man, bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}));
    command->callback([&] { talv::print_document(app, document); });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        std::fprintf(stderr, "talv: %s\nRun talv --help for more.\n", error.what());
        return static_cast<int>(Status::usage);
    } catch (const talv::Failure &failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "talv: %s\n", failure.what());
        status = failure.status;
    } catch (const std::exception &error) {
        std::fflush(stdout);
        std::fprintf(stderr, "talv: %s\n", error.what());
        status = Status::failed;
    }
    if (const int signal = talv::interrupting_signal(); signal != 0) {
        std::signal(signal, SIG_DFL); /* what was to be kept is kept: end as whoever sent it expects */
        std::raise(signal);
    }
    return static_cast<int>(status);
}
