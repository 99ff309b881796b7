#include "atomic_file.h"
#include "commands.h"
#include "failure.h"
#include "frames_in.h"
#include "plot.h"
#include "speech_in.h"
#include "standard_streams.h"

#include <algorithm>
#include <talvcodec.h>

namespace talv
{
namespace
{

bool is_coded(const std::string &path)
{
    return path.ends_with(".frames");
}

std::string base_name(const std::string &path)
{
    return is_stdin(path) ? STDIN_NAME : path.substr(path.rfind('/') + 1);
}

} // namespace

void plot_command(const PlotJob &job)
{
    refuse_same_file(job.original, job.out);
    refuse_same_file(job.decoded, job.out);
    if (is_stdin(job.original) && is_stdin(job.decoded))
        throw Failure(STDIN_NAME, "cannot be both recordings");

    const std::string rate = std::to_string(TALV_BIT_RATE) + " bit/s";
    std::vector<PlotTrack> tracks(2);
    tracks[0] = {"A", "original: " + base_name(job.original), load_speech(job.original, std::nullopt)};
    tracks[1] = {"B", "decoded: " + base_name(job.decoded),
                 is_coded(job.decoded) ? load_decoded(job.decoded) : load_speech(job.decoded, std::nullopt)};

    const double end_s = static_cast<double>(std::max(tracks[0].x.size(), tracks[1].x.size())) / TALV_SAMPLE_RATE;
    const double to_s = std::min(job.to_s.value_or(end_s), end_s);
    if (!(job.from_s >= 0 && job.from_s < to_s))
        throw Failure(job.original, "has nothing to show between these moments");
    const auto png =
        draw_plot(job.title.empty() ? "Speech before and after " + rate : job.title, tracks, job.from_s, to_s);

    AtomicFile out(job.out);
    out.write(png.data(), png.size());
    out.commit();
}

} // namespace talv
