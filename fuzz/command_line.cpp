/* The arguments of the tool, one a line. The commands that they would start are stood in for: they look at what the
 * arguments have become and touch no file. */
#include "arguments.h"
#include "check.h"

#include <cmath>
#include <string>
#include <vector>

namespace talv
{

namespace
{

void check_batch(const BatchOptions &batch)
{
    FUZZ_CHECK(!batch.names.empty() && batch.jobs >= 1 && batch.jobs <= 256);
}

void check_speech(const SpeechOptions &speech)
{
    FUZZ_CHECK(speech.start_s >= 0.0 && speech.start_s <= 1e9);
    FUZZ_CHECK(!speech.duration_s || (*speech.duration_s >= 0.0 && *speech.duration_s <= 1e9));
    FUZZ_CHECK(speech.channel >= 0 && speech.channel <= 1024);
    FUZZ_CHECK(std::fabs(speech.gain_db) <= 100.0);
    if (speech.raw)
        FUZZ_CHECK(speech.raw->rate_hz >= 1000 && speech.raw->channels >= 1 && speech.raw->channels <= 256);
}

void check_coded(const CodedFormat &format)
{
    FUZZ_CHECK(format.page_frames >= 0 && format.page_frames <= 7000);
}

} // namespace

Status encode_command(const EncodeJob &job)
{
    check_batch(job.batch);
    check_speech(job.speech);
    check_coded(job.format);
    FUZZ_CHECK(job.effort >= 0 && job.effort <= 5);
    for (const std::string &comment : job.comments)
        FUZZ_CHECK(comment.find('=') != std::string::npos && comment.find('=') > 0);
    return Status::done;
}

Status decode_command(const DecodeJob &job)
{
    check_batch(job.batch);
    FUZZ_CHECK(job.channel.ber >= 0.0 && job.channel.ber <= 1.0);
    FUZZ_CHECK(job.start_s >= 0.0 && job.start_s <= 1e9);
    FUZZ_CHECK(job.format == "wav" || job.format == "flac" || job.format == "raw");
    return Status::done;
}

void convert_command(const ConvertJob &job)
{
    check_speech(job.speech);
}

Status info_command(const InfoJob &job)
{
    FUZZ_CHECK(!job.names.empty());
    return Status::done;
}

void frames_command(const FramesJob &job)
{
    check_coded(job.coded);
}

void plot_command(const PlotJob &job)
{
    FUZZ_CHECK(job.names.size() == 2 || job.names.size() == 3);
}

} // namespace talv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static talv::Arguments taken; /* made once: that takes ten times as long as reading a few words */
    std::vector<std::string> words = {"talv"};
    for (size_t i = 0; i < size; i++) {
        if (i == 0 || data[i - 1] == '\n')
            words.emplace_back();
        if (data[i] != '\n' && data[i] != '\0')
            words.back().push_back(static_cast<char>(data[i]));
    }
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const talv::Status status = taken.run(static_cast<int>(words.size()), arguments.data());
    FUZZ_CHECK(status >= talv::Status::done && status <= talv::Status::collision);
    return 0;
}
