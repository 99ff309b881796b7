#include "codec.h"
#include "commands.h"
#include "level.h"
#include "version.h"

#include <algorithm>
#include <cstdio>

namespace talv
{
namespace
{

/* The failure, with what was saved from it. */
Failure kept(const Failure &failure, int64_t samples)
{
    char text[64];
    std::snprintf(text, sizeof text, "; the first %.2f s are kept", static_cast<double>(samples) / TALV_SAMPLE_RATE);
    return Failure(failure.what() + std::string(text), failure.status);
}

void encode_file(const EncodeJob &job, const BatchFile &file, FileReport &report, Progress::File &progress)
{
    constexpr int64_t DELAY_FRAMES = TALV_DELAY_SAMPLES / TALV_FRAME_SAMPLES;
    const bool keep = job.batch.keep_partial;

    refuse_same_file(file.in, file.out);
    SpeechIn in(file.in, job.speech);
    report.name = in.name();
    OggTags tags{VERSION, in.comments()};
    if (job.effort > 0)
        tags.comments.push_back("ENCODER_OPTIONS=--effort " + std::to_string(job.effort));
    tags.comments.insert(tags.comments.end(), job.comments.begin(), job.comments.end());
    CodedOut out(file.out, job.format, {TALV_DELAY_SAMPLES, static_cast<uint32_t>(in.original_hz())}, tags);
    Encoder encoder(job.effort);
    LevelMeter meter;
    progress.expect(in.length());

    int16_t pcm[TALV_FRAME_SAMPLES];
    uint8_t frame[TALV_FRAME_BYTES];
    std::optional<Failure> cut; /* where the input failed, and what was read of it is kept */
    const auto read = [&]() -> size_t {
        try {
            return in.read(pcm, TALV_FRAME_SAMPLES);
        } catch (const Failure &failure) {
            if (!keep || report.samples == 0)
                throw;
            cut = failure;
            return 0;
        }
    };
    const auto encode = [&] {
        if (encoder.encode(pcm, frame))
            out.write(frame);
    };
    try {
        while (const size_t n = read()) {
            meter.add(pcm, n);
            report.samples += static_cast<int64_t>(n);
            std::fill(pcm + n, pcm + TALV_FRAME_SAMPLES, int16_t{0});
            encode();
            progress.advance(static_cast<int64_t>(n));
        }
        out.set_length(report.samples);
        std::fill(pcm, pcm + TALV_FRAME_SAMPLES, int16_t{0});
        for (int64_t i = 0; report.samples > 0 && i < DELAY_FRAMES; i++)
            encode();
        while (report.samples > 0 && encoder.flush(frame))
            out.write(frame);
        out.commit();
    } catch (const Failure &failure) {
        if (keep && is_output_fault(failure.status) && out.salvage())
            throw Failure(failure.what() + std::string("; what was written before is kept"), failure.status);
        throw;
    }
    report.frames = out.frames();
    report.bytes = out.bytes();
    report.level_dbov = meter.active_dbov();
    report.has_level = true;
    if (const std::string warning = meter.warning(); !warning.empty())
        report.warnings.push_back(warning);
    if (cut)
        throw kept(*cut, report.samples);
}

} // namespace

Status encode_command(const EncodeJob &job)
{
    std::vector<std::string> endings{".wav",  ".flac", ".ogg", ".oga", ".opus", ".mp3",  ".aiff", ".aif",
                                     ".aifc", ".au",   ".snd", ".caf", ".w64",  ".rf64", ".voc",  ".sph"};
    if (job.speech.raw)
        endings = {".raw", ".pcm", ".sw"};
    return run_batch("encode", job.batch, job.format.bare ? ".frames" : ".talv", endings,
                     [&job](const BatchFile &file, FileReport &report, Progress::File &progress) {
                         encode_file(job, file, report, progress);
                     });
}

} // namespace talv
