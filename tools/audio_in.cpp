#include "audio_in.h"

#include "failure.h"
#include "wav_stream.h"

#include <algorithm>
#include <limits>

namespace talv
{
namespace
{

/* libsndfile's reason in the form of the system's own: no "Error :" before it and no full stop behind. */
std::string reason_of(SNDFILE *file)
{
    std::string text = sf_strerror(file);
    if (text.starts_with("Error : "))
        text.erase(0, 8);
    while (!text.empty() && (text.back() == '.' || text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    return text;
}

} // namespace

AudioIn::AudioIn(const std::string &path, const std::optional<RawFormat> &raw) : in_(path)
{
    if (raw) {
        info_.format = SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
        info_.samplerate = raw->rate_hz;
        info_.channels = raw->channels;
        const int64_t nbytes = in_.bytes_left();
        length_ = nbytes < 0 ? -1 : nbytes / (2 * raw->channels);
    } else if (in_.bytes_left() < 0) {
        open_stream();
    }
    if (info_.format == 0 && in_.bytes_left() == 0)
        throw Failure(name(), "is empty");
    const bool headerless = info_.format != 0;
    file_ = sf_open_fd(in_.fd(), SFM_READ, &info_, SF_FALSE);
    if (!file_ && sf_error(nullptr) == SF_ERR_UNRECOGNISED_FORMAT)
        throw Failure(name(), "is not in an audio format that can be read (--raw for samples without a header)");
    if (!file_)
        throw Failure(name(), reason_of(nullptr));
    if (!headerless && info_.frames >= 0 && info_.frames < std::numeric_limits<int64_t>::max())
        length_ = info_.frames;
}

/* A pipe: WAV is read from where its header ends as headerless samples, which need no seeking. */
void AudioIn::open_stream()
{
    WavFormat format;
    std::string head;
    if (!read_wav_header(in_, format, head)) {
        in_.spool(head);
        return;
    }
    info_.format = SF_FORMAT_RAW | format.coding | SF_ENDIAN_LITTLE;
    info_.samplerate = format.rate_hz;
    info_.channels = format.channels;
    if (format.nbytes >= 0)
        length_ = left_ = format.nbytes / format.frame_bytes;
}

AudioIn::~AudioIn()
{
    if (file_)
        sf_close(file_);
}

/* What may follow the samples in a pipe is taken too, so that its writer is not killed for writing it. */
void AudioIn::drain()
{
    char rest[4096];
    while (in_.read(rest, sizeof rest) == sizeof rest) {
    }
}

size_t AudioIn::read(float *x, size_t n)
{
    const auto channels = static_cast<size_t>(info_.channels);
    if (left_ >= 0)
        n = std::min(n, static_cast<size_t>(left_));
    if (left_ == 0) {
        drain();
        return 0;
    }
    interleaved_.resize(n * channels);
    const sf_count_t got = sf_readf_float(file_, interleaved_.data(), static_cast<sf_count_t>(n));
    if (sf_error(file_) != SF_ERR_NO_ERROR)
        throw Failure(name(), reason_of(file_));
    for (size_t i = 0; i < static_cast<size_t>(got); i++) {
        float sum = 0;
        for (size_t c = 0; c < channels; c++)
            sum += interleaved_[i * channels + c];
        x[i] = sum / static_cast<float>(channels);
    }
    if (left_ >= 0)
        left_ -= got;
    return static_cast<size_t>(got);
}

} // namespace talv
