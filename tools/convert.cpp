#include "audio_out.h"
#include "commands.h"

#include <talvcodec.h>

namespace talv
{

void convert_command(const ConvertJob &job)
{
    refuse_same_file(job.in, job.out);
    SpeechIn in(job.in, job.speech);
    AudioOut out(job.out, false, -1);
    int16_t pcm[TALV_FRAME_SAMPLES];
    while (const size_t n = in.read(pcm, TALV_FRAME_SAMPLES))
        out.write(pcm, n);
    out.commit();
}

} // namespace talv
