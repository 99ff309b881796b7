/* talv: speech to 2000 bit/s and back, on the command line. The arguments are read here, and failures end here. */
#include "commands.h"
#include "standard_streams.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <talvcodec.h>

namespace
{

constexpr int STATUS_FAILED = 1, STATUS_USAGE = 2;

#define TALV_TEXT(number) TALV_TEXT_OF(number)
#define TALV_TEXT_OF(number) #number
constexpr const char *VERSION =
    "talv " TALV_TEXT(TALV_VERSION_MAJOR) "." TALV_TEXT(TALV_VERSION_MINOR) "." TALV_TEXT(TALV_VERSION_PATCH);

constexpr const char *NOTES =
    R"(Coded files (.frames) are bare frames of 8 bytes, one for every 30 ms of speech.
They lie on the recording from its first sample: n frames decode to 240 n samples.
- stands for standard input or output. An output file appears when it is complete;
until then, and after a failure, what stood in its place is untouched.
Exit status: 0 done, 1 failed, 2 wrong arguments.)";

constexpr const char *ENCODE_HELP =
    R"(IN may be WAV, FLAC, Ogg, MP3, AIFF or any other format of libsndfile, at any rate
and with any number of channels: they are averaged and resampled to 8 kHz. From a
pipe, WAV and --raw are coded as they come and every frame is passed on at once;
another format is read to its end first.
OUT receives 8 bytes for each 30 ms; the last frame is filled up with silence.)";

constexpr const char *DECODE_HELP =
    R"(OUT is 16-bit mono at 8 kHz: WAV, FLAC or bare little-endian samples by its ending
(.wav, .flac, .raw). Standard output, pipes and devices receive WAV, or bare samples
with --raw. Input that is not made of whole frames is an error: a file is then not
decoded at all, a pipe as far as its frames go, with a non-zero exit status.)";

constexpr const char *CONVERT_HELP =
    R"(Write what the codec would be given: 8 kHz, mono, 16 bits, to be compared with what
comes back. IN as for encode, OUT as for decode.)";

constexpr const char *PLOT_HELP =
    R"(ORIGINAL and DECODED are recordings in any format; DECODED may be a .frames file,
which is then decoded. OUT is a PNG picture.)";

/* What encode and convert share */
void add_raw_input(CLI::App *command, talv::CodeJob &job)
{
    CLI::Option *raw = command->add_flag("--raw", job.raw, "IN is 16-bit little-endian samples without a header");
    command->add_option("--rate", job.raw_format.rate_hz, "Sample rate of --raw in Hz")
        ->needs(raw)
        ->check(CLI::Range(1000, 1536000))
        ->capture_default_str();
    command->add_option("--channels", job.raw_format.channels, "Channels of --raw")
        ->needs(raw)
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
}

void add_encode(CLI::App &app, talv::CodeJob &job)
{
    CLI::App *command = app.add_subcommand("encode", "Encode a recording");
    command->footer(ENCODE_HELP);
    command->add_option("IN", job.in, "Recording")->required();
    command->add_option("OUT", job.out, "Coded file")->required();
    add_raw_input(command, job);
    command->add_flag("--stats", job.stats, "Report length and speed at the end");
    command->callback([&job] { talv::encode_command(job); });
}

void add_decode(CLI::App &app, talv::CodeJob &job)
{
    CLI::App *command = app.add_subcommand("decode", "Decode coded speech");
    command->footer(DECODE_HELP);
    command->add_option("IN", job.in, "Coded file")->required();
    command->add_option("OUT", job.out, "Recording")->required();
    command->add_flag("--raw", job.raw, "Write samples without a header, whatever the ending");
    command->add_flag("--stats", job.stats, "Report length and speed at the end");
    command->callback([&job] { talv::decode_command(job); });
}

void add_convert(CLI::App &app, talv::CodeJob &job)
{
    CLI::App *command = app.add_subcommand("convert", "Write a recording as the codec is given it");
    command->footer(CONVERT_HELP);
    command->add_option("IN", job.in, "Recording")->required();
    command->add_option("OUT", job.out, "Recording at 8 kHz")->required();
    add_raw_input(command, job);
    command->callback([&job] { talv::convert_command(job); });
}

void add_plot(CLI::App &app, talv::PlotJob &job)
{
    CLI::App *command =
        app.add_subcommand("plot", "Draw waveform and spectrogram of two recordings, one above the other");
    command->footer(PLOT_HELP);
    command->add_option("ORIGINAL", job.original, "Recording before coding")->required();
    command->add_option("DECODED", job.decoded, "Recording after coding, or coded file")->required();
    command->add_option("OUT", job.out, "Picture")->required();
    command->add_option("--title", job.title, "Line above the picture");
    command->add_option("--from", job.from_s, "First moment shown, in seconds");
    command->add_option("--to", job.to_s, "Last moment shown, in seconds");
    command->callback([&job] { talv::plot_command(job); });
}

} // namespace

int main(int argc, char **argv)
{
    talv::settle_standard_streams();

    CLI::App app{"Speech at 2000 bit/s", "talv"};
    app.footer(NOTES);
    app.set_version_flag("--version", VERSION);
    app.require_subcommand(1);
    talv::CodeJob encode, decode, convert;
    talv::PlotJob plot;
    add_encode(app, encode);
    add_decode(app, decode);
    add_convert(app, convert);
    add_plot(app, plot);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0)
            return app.exit(error);
        std::fprintf(stderr, "talv: %s\nRun talv --help for more.\n", error.what());
        return STATUS_USAGE;
    } catch (const std::exception &error) {
        std::fflush(stdout);
        std::fprintf(stderr, "talv: %s\n", error.what());
        return STATUS_FAILED;
    }
    return 0;
}
