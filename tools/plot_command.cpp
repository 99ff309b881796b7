#include "atomic_file.h"
#include "coded_in.h"
#include "commands.h"
#include "ending.h"
#include "failure.h"
#include "plot.h"
#include "speech_in.h"
#include "standard_streams.h"

#include <algorithm>
#include <talvcodec.h>
#include <talvhost.h>

namespace talv
{
namespace
{

std::string base_name(const std::string &path)
{
    return is_stdin(path) ? STDIN_NAME : path.substr(path.rfind('/') + 1);
}

CodedTrack describe(const DecodedSpeech &speech)
{
    CodedTrack track;
    for (size_t i = 0; i < speech.frames.size(); i++) {
        CodedTrack::Frame frame{speech.at[i], speech.frames[i].lost, {}};
        TALV_FrameDescribe(speech.frames[i].bytes, &frame.sound);
        if (speech.frames[i].count > 0)
            track.frames.push_back(frame);
    }
    return track;
}

} // namespace

void plot_command(const PlotJob &job)
{
    const std::string out_name = job.names.back();
    const std::vector<std::string> inputs(job.names.begin(), job.names.end() - 1);
    if (inputs.empty() || inputs.size() > 2)
        throw Failure("plot", "takes one or two recordings and the picture", Status::usage);
    for (const std::string &in : inputs)
        refuse_same_file(in, out_name);
    if (inputs.size() == 2 && is_stdin(inputs[0]) && is_stdin(inputs[1]))
        throw Failure(STDIN_NAME, "cannot be both recordings", Status::usage);

    std::vector<PlotTrack> tracks;
    CodedTrack coded;
    if (inputs.size() == 2)
        tracks.push_back({"A", "original: " + base_name(inputs[0]), load_speech(inputs[0], std::nullopt)});
    const std::string &decoded = inputs.back();
    PlotTrack track{"B", "decoded: " + base_name(decoded), {}};
    if (is_coded(decoded)) {
        DecodedSpeech speech = load_decoded(decoded);
        coded = describe(speech);
        track.x = std::move(speech.x);
    } else {
        track.x = load_speech(decoded, std::nullopt);
        if (inputs.size() == 1)
            track = {"A", "recording: " + base_name(decoded), std::move(track.x)};
    }
    tracks.push_back(std::move(track));

    size_t longest = 0;
    for (const PlotTrack &t : tracks)
        longest = std::max(longest, t.x.size());
    const double end_s = static_cast<double>(longest) / TALV_SAMPLE_RATE;
    const double to_s = std::min(job.to_s.value_or(end_s), end_s);
    if (!(job.from_s >= 0 && job.from_s < to_s))
        throw Failure(inputs[0], "has nothing to show between these moments", Status::usage);
    const std::string rate = std::to_string(TALV_BIT_RATE) + " bit/s";
    const auto picture =
        draw_plot(has_ending(out_name, ".svg"), job.title.empty() ? "Speech before and after " + rate : job.title,
                  tracks, coded, job.from_s, to_s);

    AtomicFile out(out_name);
    out.write(picture.data(), picture.size());
    out.commit();
}

} // namespace talv
