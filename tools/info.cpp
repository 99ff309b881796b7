#include "coded_in.h"
#include "commands.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <talvhost.h>

namespace talv
{
namespace
{

using Json = nlohmann::ordered_json;

/* The value below which a share of the list lies; the list is put in order. */
double quantile(std::vector<double> &x, double share)
{
    std::sort(x.begin(), x.end());
    return x[static_cast<size_t>(std::lround(share * static_cast<double>(x.size() - 1)))];
}

/* To so many parts of one: 10 for tenths. A quotient of whole numbers is printed as short as it is. */
double rounded(double x, double parts)
{
    return std::round(x * parts) / parts;
}

struct Statistics {
    int64_t frames = 0, samples = 0;
    std::vector<double> pitch_hz; /* of voiced frames                                     */
    std::vector<double> level_dbov;
    double voicing = 0, power = 0; /* sums                                                */

    void add(const CodedFrame &frame);
};

/* The frames of the pre-skip tell of the time before the recording, and lost ones tell nothing. */
void Statistics::add(const CodedFrame &frame)
{
    frames++;
    samples += frame.count;
    if (frame.lost || frame.count == 0)
        return;
    TALV_FrameSound sound;
    TALV_FrameDescribe(frame.bytes, &sound);
    const double voicing_of_frame = static_cast<double>((sound.voicing[0] + sound.voicing[1]) / 2);
    voicing += voicing_of_frame;
    const auto level = static_cast<double>(sound.level_dbov);
    level_dbov.push_back(level);
    power += std::pow(10, level / 10);
    if (voicing_of_frame >= 0.5 && level > -60)
        pitch_hz.push_back(static_cast<double>(sound.pitch_hz));
}

Status inspect(const std::string &name, Json &j, std::string &failure)
{
    Statistics all;
    Status status = Status::done;
    j["file"] = name;
    try {
        CodedIn in(name, true);
        std::string cut;
        CodedFrame frame;
        try {
            while (in.read(frame))
                all.add(frame);
        } catch (const Failure &f) {
            cut = f.what();
            status = f.status;
        }
        const double lasts = static_cast<double>(all.samples) / TALV_SAMPLE_RATE;
        j["container"] = in.is_ogg() ? "ogg" : "bare";
        j["duration_s"] = lasts;
        j["samples"] = all.samples;
        j["frames"] = all.frames;
        j["bytes"] = in.bytes();
        if (lasts > 0)
            j["bit_rate"] = rounded(static_cast<double>(in.bytes()) * 8 / lasts, 10);
        if (in.is_ogg()) {
            const int64_t sound = (all.frames - in.damage().frames) * TALV_FRAME_BYTES;
            if (sound > 0)
                j["overhead_percent"] =
                    rounded(100 * static_cast<double>(in.bytes() - sound) / static_cast<double>(sound), 100);
            j["pre_skip"] = in.head().pre_skip;
            j["original_rate_hz"] = in.head().original_hz;
            j["vendor"] = in.tags().vendor;
            j["comments"] = in.tags().comments;
        }
        j["damage"] = {{"places", in.damage().places},
                       {"bytes", in.damage().bytes},
                       {"frames", in.damage().frames},
                       {"notes", in.damage().notes},
                       {"cut", !cut.empty()}};
        if (!all.level_dbov.empty()) {
            const auto n = static_cast<double>(all.level_dbov.size());
            Json &s = j["speech"];
            s["level_dbov"] = rounded(10 * std::log10(all.power / n), 10);
            s["level_p95_dbov"] = rounded(quantile(all.level_dbov, 0.95), 10);
            s["voicing"] = rounded(all.voicing / n, 1000);
            s["voiced_percent"] = rounded(100 * static_cast<double>(all.pitch_hz.size()) / n, 10);
            if (!all.pitch_hz.empty())
                s["pitch_hz"] = {{"p05", rounded(quantile(all.pitch_hz, 0.05), 10)},
                                 {"median", rounded(quantile(all.pitch_hz, 0.5), 10)},
                                 {"p95", rounded(quantile(all.pitch_hz, 0.95), 10)}};
        }
        if (!cut.empty())
            failure = cut;
        else if (in.damage().any()) {
            failure = in.name() + ": " + in.damage().text();
            status = Status::damaged;
        }
    } catch (const Failure &f) {
        failure = f.what();
        status = f.status;
    }
    j["status"] = static_cast<int>(status);
    if (!failure.empty())
        j["error"] = failure;
    return status;
}

std::string printable(std::string s)
{
    for (char &c : s) /* a comment may hold anything, a terminal's commands too */
        if (static_cast<unsigned char>(c) < 32 || c == 127)
            c = '?';
    return s;
}

void print_text(const Json &j)
{
    std::printf("%s\n", printable(j["file"].get<std::string>()).c_str());
    if (!j.contains("container"))
        return;
    const bool ogg = j["container"] == "ogg";
    const auto line = [](const char *name, const std::string &text) { std::printf("  %-12s%s\n", name, text.c_str()); };
    const auto number = [](const Json &x, const char *format) {
        char text[64];
        std::snprintf(text, sizeof text, format, x.get<double>());
        return std::string(text);
    };
    line("container", ogg ? "Ogg" : "bare frames");
    line("duration", number(j["duration_s"], "%.3f s, ") + number(j["samples"], "%.0f samples at 8 kHz"));
    line("size", number(j["bytes"], "%.0f bytes, ") + number(j["frames"], "%.0f frames") +
                     (j.contains("bit_rate") ? number(j["bit_rate"], ", %.1f bit/s") : "") +
                     (j.contains("overhead_percent") ? number(j["overhead_percent"], ", %.2f %% overhead") : ""));
    if (ogg) {
        if (j["original_rate_hz"] != 0)
            line("original", number(j["original_rate_hz"], "%.0f Hz"));
        line("vendor", printable(j["vendor"].get<std::string>()));
        for (const auto &comment : j["comments"])
            line("comment", printable(comment.get<std::string>()));
    }
    if (j.contains("speech")) {
        const Json &s = j["speech"];
        line("level", number(s["level_dbov"], "%.1f dBov on the whole, ") +
                          number(s["level_p95_dbov"], "%.1f dBov in the loudest twentieth"));
        line("voicing",
             number(s["voicing"], "%.2f on the mean, ") + number(s["voiced_percent"], "%.0f %% of the frames voiced"));
        if (s.contains("pitch_hz"))
            line("pitch", number(s["pitch_hz"]["p05"], "%.0f to ") + number(s["pitch_hz"]["p95"], "%.0f Hz, median ") +
                              number(s["pitch_hz"]["median"], "%.0f Hz"));
    }
    line("damage", j.contains("error") ? "yes" : "none");
}

} // namespace

Status info_command(const InfoJob &job)
{
    Status status = Status::done;
    for (const std::string &name : job.names) {
        Json j;
        std::string failure;
        const Status s = inspect(name, j, failure);
        if (job.json)
            std::printf("%s\n", j.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
        else
            print_text(j);
        std::fflush(stdout);
        if (!failure.empty())
            std::fprintf(stderr, "talv: %s\n", failure.c_str());
        if (s != Status::done)
            status = status == Status::done || status == s ? s : Status::failed;
    }
    return status;
}

} // namespace talv
