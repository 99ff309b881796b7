/** The arguments of the tool: what it takes, and which command they start */
#ifndef TALV_TOOLS_ARGUMENTS_H
#define TALV_TOOLS_ARGUMENTS_H

#include "commands.h"
#include "failure.h"

#include <CLI/CLI.hpp>
#include <string>

namespace talv
{

class Arguments
{
public:
    Arguments();
    Arguments(const Arguments &) = delete;
    Arguments &operator=(const Arguments &) = delete;

    /** Read the arguments, run their command, and tell of failures on standard error; may be called again
     *  argv     as main() gets them                                                                                  */
    Status run(int argc, char **argv);

private:
    /* What encode and convert share */
    struct Raw {
        bool given = false;
        RawFormat format;
    };
    /* What the arguments have set, and how the command that they started ended */
    struct Jobs {
        EncodeJob encode;
        DecodeJob decode;
        ConvertJob convert;
        InfoJob info;
        FramesJob frames;
        PlotJob plot;
        Raw encode_raw, convert_raw;
        std::string document;
        Status status = Status::done;
    };
    void add_speech(CLI::App *command, SpeechOptions &speech, Raw &raw_arguments);

    CLI::App app_{"Speech at 2000 bit/s", "talv"};
    Jobs jobs_;
};

} // namespace talv

#endif
