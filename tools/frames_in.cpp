#include "frames_in.h"

#include "codec.h"
#include "failure.h"

#include <cstring>
#include <talvcodec.h>

namespace talv
{
namespace
{

Failure cut_short(const std::string &name, int64_t nbytes)
{
    const auto rest = nbytes % TALV_FRAME_BYTES;
    return Failure(name, "is not made of whole frames of 8 bytes: " + std::to_string(rest) + " left over after " +
                             std::to_string(nbytes / TALV_FRAME_BYTES) + " frames");
}

/* Every 8 bytes decode, and a recording taken for frames would come out as a loud noise. */
bool is_recording(const uint8_t *frame)
{
    return std::memcmp(frame, "RIFF", 4) == 0 || std::memcmp(frame, "fLaC", 4) == 0;
}

} // namespace

FramesIn::FramesIn(const std::string &path) : in_(path)
{
    const int64_t nbytes = in_.bytes_left();
    if (nbytes % TALV_FRAME_BYTES > 0)
        throw cut_short(name(), nbytes);
    length_ = nbytes < 0 ? -1 : nbytes / TALV_FRAME_BYTES;
}

bool FramesIn::read(uint8_t *frame)
{
    const size_t n = in_.read(frame, TALV_FRAME_BYTES);
    if (n == 0)
        return false;
    if (n < TALV_FRAME_BYTES)
        throw cut_short(name(), count_ * TALV_FRAME_BYTES + static_cast<int64_t>(n));
    if (count_++ == 0 && is_recording(frame))
        throw Failure(name(), "is a recording, not coded speech");
    return true;
}

std::vector<int16_t> load_decoded(const std::string &path)
{
    FramesIn in(path);
    Codec codec;
    std::vector<int16_t> x;
    uint8_t frame[TALV_FRAME_BYTES];
    int16_t pcm[TALV_FRAME_SAMPLES];
    while (in.read(frame)) {
        codec.decode(frame, pcm);
        x.insert(x.end(), pcm, pcm + TALV_FRAME_SAMPLES);
    }
    return x;
}

} // namespace talv
