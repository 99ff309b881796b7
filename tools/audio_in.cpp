#include "audio_in.h"

#include "failure.h"
#include "interrupt.h"
#include "wav_stream.h"

#include <algorithm>
#include <limits>
#include <mutex>

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

/* libsndfile keeps the reason of a failed open in one place for all threads. */
std::mutex opening;

} // namespace

AudioIn::AudioIn(const std::string &path, const std::optional<RawFormat> &raw, int channel)
    : in_(path), channel_(channel)
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
        throw Failure(name(), "is empty", Status::alien);
    const bool headerless = info_.format != 0, stream = in_.bytes_left() < 0;
    if (!headerless)
        check_length();
    {
        const std::lock_guard lock(opening);
        SF_VIRTUAL_IO io = stream_io();
        file_ = stream ? sf_open_virtual(&io, SFM_READ, &info_, this)
                       : sf_open_fd(own_descriptor(in_.fd()), SFM_READ, &info_, SF_TRUE);
        if (!file_ && sf_error(nullptr) == SF_ERR_UNRECOGNISED_FORMAT)
            throw Failure(name(), "is not in an audio format that can be read (--raw for samples without a header)",
                          Status::alien);
        if (!file_)
            throw Failure(name(), reason_of(nullptr), Status::alien);
    }
    if (!headerless && info_.frames >= 0 && info_.frames < std::numeric_limits<int64_t>::max())
        length_ = info_.frames;
    if (!headerless && (info_.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC && length_ > 0)
        promised_ = length_;
    if (channel_ > info_.channels) {
        sf_close(file_);
        file_ = nullptr;
        throw Failure(name(),
                      "has " + std::to_string(info_.channels) + " channels, no channel " + std::to_string(channel_),
                      Status::alien);
    }
}

/* A WAV file that was cut off still has the length of the whole in its header. libsndfile takes what is there. */
void AudioIn::check_length()
{
    WavFormat format;
    std::string head;
    if (read_wav_header(in_, format, head) && format.nbytes > in_.bytes_left())
        promised_ = format.nbytes / format.frame_bytes;
    in_.rewind();
}

/* Samples from a pipe, for libsndfile: read by InputFile, which can be interrupted. It never needs to go back. */
SF_VIRTUAL_IO AudioIn::stream_io()
{
    SF_VIRTUAL_IO io = {};
    io.get_filelen = [](void *) -> sf_count_t { return std::numeric_limits<int64_t>::max() / 2; };
    io.seek = [](sf_count_t, int, void *self) -> sf_count_t { return static_cast<AudioIn *>(self)->taken_; };
    io.tell = [](void *self) -> sf_count_t { return static_cast<AudioIn *>(self)->taken_; };
    io.read = [](void *data, sf_count_t n, void *self) -> sf_count_t {
        auto *in = static_cast<AudioIn *>(self);
        try {
            const size_t got = in->in_.read(data, static_cast<size_t>(n));
            in->taken_ += static_cast<int64_t>(got);
            return static_cast<sf_count_t>(got);
        } catch (...) { /* nothing may be thrown through C */
            in->fault_ = std::current_exception();
            return 0;
        }
    };
    io.write = [](const void *, sf_count_t, void *) -> sf_count_t { return 0; };
    return io;
}

std::string AudioIn::text(int kind) const
{
    const char *s = sf_get_string(file_, kind);
    return s ? s : "";
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

/* A decoder of libsndfile's gave up: because the file is cut off, if there is no more of it. */
Failure AudioIn::format_failure() const
{
    const int64_t missing = promised_ - count_;
    if (missing > 0 && in_.bytes_left() == 0)
        return Failure(name(), "ends " + std::to_string(missing) + " samples before its end (" + reason_of(file_) + ")",
                       Status::truncated);
    return Failure(name(), reason_of(file_), Status::unreadable);
}

void AudioIn::finish() const
{
    if (fault_)
        std::rethrow_exception(fault_);
    const int64_t missing = left_ >= 0 ? left_ : promised_ - count_;
    if (missing > 0)
        throw Failure(name(), "ends " + std::to_string(missing) + " samples before its end", Status::truncated);
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
    if (fault_)
        return 0;
    interleaved_.resize(n * channels);
    const sf_count_t got = sf_readf_float(file_, interleaved_.data(), static_cast<sf_count_t>(n));
    /* What came before a fault counts; the fault itself is told by finish(). */
    if (!fault_ && interrupting_signal() != 0)
        fault_ = std::make_exception_ptr(Interrupted(name()));
    for (size_t i = 0; i < static_cast<size_t>(got); i++) {
        float sum = 0;
        for (size_t c = 0; c < channels; c++)
            sum += interleaved_[i * channels + c];
        x[i] = channel_ > 0 ? interleaved_[i * channels + static_cast<size_t>(channel_) - 1]
                            : sum / static_cast<float>(channels);
    }
    if (left_ >= 0)
        left_ -= got;
    count_ += got;
    if (!fault_ && sf_error(file_) != SF_ERR_NO_ERROR)
        fault_ = std::make_exception_ptr(format_failure());
    return static_cast<size_t>(got);
}

} // namespace talv
