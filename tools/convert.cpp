#include "audio_out.h"
#include "commands.h"
#include "progress.h"
#include "speech_in.h"

#include <talvcodec.h>

namespace talv
{

void convert_command(const CodeJob &job)
{
    refuse_same_file(job.in, job.out);
    SpeechIn in(job.in, job.raw ? std::optional(job.raw_format) : std::nullopt);
    AudioOut out(job.out, false, -1);
    Progress progress("convert " + in.name(), in.length());
    int16_t pcm[TALV_FRAME_SAMPLES];
    while (const size_t n = in.read(pcm, TALV_FRAME_SAMPLES)) {
        out.write(pcm, n);
        progress.advance(static_cast<int64_t>(n));
    }
    out.commit();
}

} // namespace talv
