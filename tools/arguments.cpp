#include "arguments.h"

#include "documents.h"
#include "version.h"

#include <cstdio>
#include <exception>
#include <talvcodec.h>
#include <talvsearch.h>

namespace talv
{

namespace
{

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

void add_batch(CLI::App *command, BatchOptions &batch)
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

void add_coded(CLI::App *command, CodedFormat &format)
{
    command->add_flag("--bare", format.bare, "Write bare frames, whatever the ending");
    command->add_option("--page-frames", format.page_frames, "Frames a page of the Ogg stream; none: 496, on a pipe 1")
        ->check(CLI::Range(1, 7000));
}

} // namespace

void Arguments::add_speech(CLI::App *command, SpeechOptions &speech, Raw &raw_arguments)
{
    CLI::Option *raw =
        command->add_flag("--raw", raw_arguments.given, "IN is 16-bit little-endian samples without a header");
    command->add_option("--rate", raw_arguments.format.rate_hz, "Sample rate of --raw in Hz")
        ->needs(raw)
        ->check(CLI::Range(1000, 1536000))
        ->capture_default_str();
    command->add_option("--channels", raw_arguments.format.channels, "Channels of --raw")
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

Arguments::Arguments()
{
    app_.footer(NOTES + std::string("\nExit status:\n") + exit_statuses());
    app_.set_version_flag("--version", VERSION);
    app_.require_subcommand(1);

    CLI::App *command = app_.add_subcommand("encode", "Encode recordings");
    command->footer(ENCODE_HELP);
    add_batch(command, jobs_.encode.batch);
    add_coded(command, jobs_.encode.format);
    add_speech(command, jobs_.encode.speech, jobs_.encode_raw);
    command
        ->add_option("-e,--effort", jobs_.encode.effort,
                     "Work on better speech: 0 none, 3 five times as fast as live, 5 most; any decoder plays it")
        ->check(CLI::Range(0, TALV_SEARCH_EFFORT_MAX))
        ->capture_default_str();
    command->add_option("--comment", jobs_.encode.comments, "Comment of the file, as in TITLE=Speech; may be repeated")
        ->allow_extra_args(false)
        ->check([](const std::string &s) {
            return s.find('=') == 0 || s.find('=') == std::string::npos ? "a comment is NAME=value" : "";
        });
    command->callback([this] {
        if (jobs_.encode_raw.given)
            jobs_.encode.speech.raw = jobs_.encode_raw.format;
        jobs_.status = encode_command(jobs_.encode);
    });

    command = app_.add_subcommand("decode", "Decode coded speech");
    command->footer(DECODE_HELP);
    add_batch(command, jobs_.decode.batch);
    command->add_flag("--raw", jobs_.decode.raw, "Write samples without a header, whatever the ending");
    command->add_option("--format", jobs_.decode.format, "Format of the outputs in a folder")
        ->check(CLI::IsMember({"wav", "flac", "raw"}))
        ->capture_default_str();
    command->add_option("--start", jobs_.decode.start_s, "First moment, in seconds")->check(CLI::Range(0.0, 1e9));
    command->add_option("--duration", jobs_.decode.duration_s, "Length, in seconds")->check(CLI::Range(0.0, 1e9));
    command->add_option("--loss", jobs_.decode.channel.loss, "Lose frames on a simulated channel, by a model");
    command->add_option("--ber", jobs_.decode.channel.ber, "Turn bits over on a simulated channel, at this rate")
        ->check(CLI::Range(0.0, 1.0));
    command->add_option("--seed", jobs_.decode.channel.seed, "Of the simulated channel's chances")
        ->capture_default_str();
    command->callback([this] { jobs_.status = decode_command(jobs_.decode); });

    command = app_.add_subcommand("convert", "Write a recording as the codec is given it");
    command->footer(CONVERT_HELP);
    command->add_option("IN", jobs_.convert.in, "Recording")->required();
    command->add_option("OUT", jobs_.convert.out, "Recording at 8 kHz")->required();
    add_speech(command, jobs_.convert.speech, jobs_.convert_raw);
    command->callback([this] {
        if (jobs_.convert_raw.given)
            jobs_.convert.speech.raw = jobs_.convert_raw.format;
        convert_command(jobs_.convert);
    });

    command = app_.add_subcommand("info", "Tell what is in coded files");
    command->footer(INFO_HELP);
    command->add_option("FILES", jobs_.info.names, "Coded files")->required();
    command->add_flag("--json", jobs_.info.json, "As a JSON object on a line for each file");
    command->callback([this] { jobs_.status = info_command(jobs_.info); });

    command = app_.add_subcommand("frames", "Write the fields of the frames as text, or frames from such text");
    command->footer(FRAMES_HELP);
    command->add_option("IN", jobs_.frames.in, "Coded file, or lines")->required();
    command->add_option("OUT", jobs_.frames.out, "Lines, or coded file")->required();
    command->add_option("--format", jobs_.frames.format, "Format of the lines, whatever the ending")
        ->check(CLI::IsMember({"csv", "jsonl"}));
    add_coded(command, jobs_.frames.coded);
    command->callback([this] { frames_command(jobs_.frames); });

    command = app_.add_subcommand("plot", "Draw waveform, spectrogram and tracks");
    command->footer(PLOT_HELP);
    command->add_option("FILES", jobs_.plot.names, "[ORIGINAL] DECODED OUT")->required()->expected(2, 3);
    command->add_option("--title", jobs_.plot.title, "Line above the picture");
    command->add_option("--from", jobs_.plot.from_s, "First moment shown, in seconds");
    command->add_option("--to", jobs_.plot.to_s, "Last moment shown, in seconds");
    command->callback([this] { plot_command(jobs_.plot); });

    command = app_.add_subcommand("document", "Print the manual page or a shell's completion")->group("");
    command->add_option("KIND", jobs_.document, "man, bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}));
    command->callback([this] { print_document(app_, jobs_.document); });
}

Status Arguments::run(int argc, char **argv)
{
    jobs_ = {};
    try {
        app_.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0)
            return static_cast<Status>(app_.exit(error));
        std::fprintf(stderr, "talv: %s\nRun talv --help for more.\n", error.what());
        return Status::usage;
    } catch (const Failure &failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "talv: %s\n", failure.what());
        return failure.status;
    } catch (const std::exception &error) {
        std::fflush(stdout);
        std::fprintf(stderr, "talv: %s\n", error.what());
        return Status::failed;
    }
    return jobs_.status;
}

} // namespace talv
