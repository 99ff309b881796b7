#include "audio_out.h"

#include "ending.h"
#include "failure.h"
#include "input_file.h"
#include "wav_stream.h"

#include <talvcodec.h>

namespace talv
{
namespace
{

constexpr int64_t WAV_SAMPLES_MAX = (int64_t{0xffffffff} - 36) / 2;

/* What cannot be a file with an ending, a pipe or a device, gets WAV: players take it without being told anything. */
AudioOut::Format format_of(const AtomicFile &file, bool raw)
{
    if (raw || has_ending(file.name(), ".raw"))
        return AudioOut::Format::bare;
    if (has_ending(file.name(), ".wav") || !file.is_file())
        return AudioOut::Format::wav;
    if (has_ending(file.name(), ".flac"))
        return AudioOut::Format::flac;
    throw Failure(file.name(), "has none of the endings .wav, .flac, .raw (--raw for bare samples)", Status::usage);
}

} // namespace

AudioOut::AudioOut(const std::string &path, bool raw, int64_t length) : file_(path), format_(format_of(file_, raw))
{
    if (format_ == Format::wav) {
        const auto header = wav_header(TALV_SAMPLE_RATE, length < 0 ? -1 : 2 * length);
        file_.write(header.data(), header.size());
    }
    if (format_ == Format::flac) {
        SF_INFO info = {};
        info.samplerate = TALV_SAMPLE_RATE;
        info.channels = 1;
        info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
        encoder_ = sf_open_fd(own_descriptor(file_.fd()), SFM_WRITE, &info, SF_TRUE);
        if (!encoder_)
            throw Failure(path, sf_strerror(nullptr));
    }
}

AudioOut::~AudioOut()
{
    if (encoder_)
        sf_close(encoder_);
}

void AudioOut::write(const int16_t *pcm, size_t n)
{
    count_ += static_cast<int64_t>(n);
    if (format_ == Format::wav && file_.is_file() && count_ > WAV_SAMPLES_MAX)
        throw Failure(file_.name(), "is longer than WAV can be (use .flac or .raw)", Status::unwritable);
    if (encoder_) {
        errno = 0;
        if (sf_write_short(encoder_, pcm, static_cast<sf_count_t>(n)) != static_cast<sf_count_t>(n))
            throw flac_failure(sf_strerror(encoder_));
        return;
    }
    uint8_t bytes[2 * TALV_FRAME_SAMPLES];
    for (size_t i = 0; i < n; i++) {
        bytes[2 * i] = static_cast<uint8_t>(pcm[i]);
        bytes[2 * i + 1] = static_cast<uint8_t>(pcm[i] >> 8);
    }
    file_.write(bytes, 2 * n);
}

void AudioOut::commit()
{
    if (encoder_) {
        if (count_ == 0)
            throw Failure(file_.name(), "would hold no samples, which FLAC cannot say", Status::unwritable);
        /* The last of the data is written here, so this can still fail. */
        errno = 0;
        const int error = sf_close(encoder_);
        encoder_ = nullptr;
        if (error != 0 || errno != 0)
            throw flac_failure(sf_error_number(error));
    }
    if (format_ == Format::wav && file_.is_file()) {
        const auto header = wav_header(TALV_SAMPLE_RATE, 2 * count_);
        file_.rewrite_start(header.data(), header.size());
    }
    file_.commit();
}

bool AudioOut::salvage()
{
    if (encoder_ || !file_.is_file())
        return false; /* what a FLAC encoder still holds is lost, and its header with it */
    const int64_t head = format_ == Format::wav ? 44 : 0;
    count_ = (file_.landed() - head) / 2;
    if (count_ <= 0)
        return false;
    file_.cut(head + 2 * count_);
    commit();
    return true;
}

/* libsndfile tells that writing failed, the system why. */
Failure AudioOut::flac_failure(const char *text) const
{
    return errno != 0 ? write_failure(file_.name(), errno) : Failure(file_.name(), text, Status::unwritable);
}

} // namespace talv
