#include "audio_out.h"
#include "codec.h"
#include "coded_in.h"
#include "commands.h"
#include "interrupt.h"

#include <algorithm>
#include <cmath>

namespace talv
{
namespace
{

void decode_file(const DecodeJob &job, const BatchFile &file, FileReport &report, Progress::File &progress)
{
    const bool keep = job.batch.keep_partial;
    refuse_same_file(file.in, file.out);
    Channel channel(job.channel);
    CodedIn in(file.in, keep);
    report.name = in.name();
    int64_t skip = std::llround(job.start_s * TALV_SAMPLE_RATE), left = INT64_MAX, length = in.length();
    if (job.duration_s)
        left = std::llround(*job.duration_s * TALV_SAMPLE_RATE);
    if (length >= 0)
        length = std::min(std::max<int64_t>(0, length - skip), left);
    AudioOut out(file.out, job.raw, length);
    Decoder decoder;
    progress.expect(length);

    int64_t beyond = 0;
    CodedFrame frame;
    int16_t pcm[TALV_FRAME_SAMPLES];
    std::optional<Failure> cut; /* where the input failed, and what was read of it is kept */
    const auto read = [&] {
        try {
            if (interrupting_signal() != 0)
                throw Interrupted(in.name());
            return in.read(frame);
        } catch (const Failure &failure) {
            if (!keep || report.frames == 0)
                throw;
            cut = failure;
            return false;
        }
    };
    try {
        while (left > 0 && read()) {
            report.frames++;
            channel.pass(frame);
            decoder.decode(frame, pcm);
            const int64_t before = std::min<int64_t>(skip, frame.count);
            const int64_t n = std::min<int64_t>(frame.count - before, left);
            skip -= before;
            left -= n;
            const int16_t *first = pcm + frame.from + before;
            beyond += std::count(first, first + n, INT16_MIN); /* what leaves the range of 16 bits becomes this */
            out.write(first, static_cast<size_t>(n));
            report.samples += n;
            progress.advance(n);
        }
        out.commit();
    } catch (const Failure &failure) {
        if (keep && is_output_fault(failure.status) && out.salvage())
            throw Failure(failure.what() + std::string("; what was written before is kept"), failure.status);
        throw;
    }
    report.bytes = in.bytes();
    if (beyond > 0)
        report.warnings.push_back("leaves the range of 16 bits in " + std::to_string(beyond) +
                                  " samples, heard as clicks (encode with --normalize or a lower --gain)");
    if (!job.channel.loss.empty() || job.channel.ber > 0)
        report.warnings.push_back("went through a simulated channel: " + std::to_string(channel.lost()) + " of " +
                                  std::to_string(report.frames) + " frames lost, " +
                                  std::to_string(channel.bits_turned()) + " bits turned over");
    if (cut)
        throw Failure(cut->what() + std::string("; the ") +
                          std::to_string(static_cast<double>(report.samples) / TALV_SAMPLE_RATE) + " s before are kept",
                      cut->status);
    if (in.damage().any())
        throw Failure(in.name(), in.damage().text() + "; the rest is decoded, in its time", Status::damaged);
}

} // namespace

Status decode_command(const DecodeJob &job)
{
    std::string ending = ".";
    ending += job.raw ? "raw" : job.format;
    return run_batch("decode", job.batch, ending, {".talv", ".frames"},
                     [&job](const BatchFile &file, FileReport &report, Progress::File &progress) {
                         decode_file(job, file, report, progress);
                     });
}

} // namespace talv
