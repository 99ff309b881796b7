#include "atomic_file.h"
#include "codec.h"
#include "commands.h"
#include "progress.h"
#include "speech_in.h"

#include <algorithm>

namespace talv
{

void encode_command(const CodeJob &job)
{
    constexpr int64_t DELAY_FRAMES = TALV_DELAY_SAMPLES / TALV_FRAME_SAMPLES;

    refuse_same_file(job.in, job.out);
    SpeechIn in(job.in, job.raw ? std::optional(job.raw_format) : std::nullopt);
    AtomicFile out(job.out);
    Codec codec;
    Progress progress("encode " + in.name(), in.length());

    int16_t pcm[TALV_FRAME_SAMPLES];
    uint8_t frame[TALV_FRAME_BYTES];
    int64_t calls = 0;
    const auto encode = [&] {
        codec.encode(pcm, frame);
        if (++calls > DELAY_FRAMES)
            out.write(frame, sizeof frame);
    };
    for (;;) {
        const size_t n = in.read(pcm, TALV_FRAME_SAMPLES);
        if (n == 0)
            break;
        std::fill(pcm + n, pcm + TALV_FRAME_SAMPLES, int16_t{0});
        encode();
        progress.advance(static_cast<int64_t>(n));
    }
    if (calls > 0) {
        std::fill(pcm, pcm + TALV_FRAME_SAMPLES, int16_t{0});
        for (int64_t i = 0; i < DELAY_FRAMES; i++)
            encode();
    }
    out.commit();
    if (job.stats)
        progress.report();
}

} // namespace talv
