#include "audio_out.h"
#include "codec.h"
#include "commands.h"
#include "frames_in.h"
#include "progress.h"

namespace talv
{

void decode_command(const CodeJob &job)
{
    refuse_same_file(job.in, job.out);
    FramesIn in(job.in);
    const int64_t length = in.length() < 0 ? -1 : TALV_FRAME_SAMPLES * in.length();
    AudioOut out(job.out, job.raw, length);
    Codec codec;
    Progress progress("decode " + in.name(), length);

    uint8_t frame[TALV_FRAME_BYTES];
    int16_t pcm[TALV_FRAME_SAMPLES];
    while (in.read(frame)) {
        codec.decode(frame, pcm);
        out.write(pcm, TALV_FRAME_SAMPLES);
        progress.advance(TALV_FRAME_SAMPLES);
    }
    out.commit();
    if (job.stats)
        progress.report();
}

} // namespace talv
