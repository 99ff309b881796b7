#include "speech_in.h"

#include "failure.h"

#include <algorithm>
#include <cmath>
#include <talvcodec.h>

namespace talv
{
namespace
{

/* Rates beyond these are damaged headers, not sound. */
constexpr int RATE_MIN_HZ = 1000;
constexpr int RATE_MAX_HZ = 1536000;

int16_t to_pcm(float x)
{
    const float y = x * 32768.0f;
    if (!(y > -32768.0f)) /* what is not a number comes out as silence */
        return y <= -32768.0f ? INT16_MIN : 0;
    return y >= 32767.0f ? INT16_MAX : static_cast<int16_t>(std::lrint(y));
}

} // namespace

SpeechIn::SpeechIn(const std::string &path, const std::optional<RawFormat> &raw) : audio_(path, raw)
{
    const int rate = audio_.rate_hz();
    if (rate < RATE_MIN_HZ || rate > RATE_MAX_HZ)
        throw Failure(name(), "has a sample rate of " + std::to_string(rate) + " Hz");

    /* A frame of time at once: on a live pipe a longer block would only be waited for. */
    in_.resize(static_cast<size_t>(rate) * TALV_FRAME_SAMPLES / TALV_SAMPLE_RATE);
    if (rate == TALV_SAMPLE_RATE)
        return;
    out_.resize(2 * TALV_FRAME_SAMPLES);
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    soxr_.reset(soxr_create(rate, TALV_SAMPLE_RATE, 1, &error, &io, &quality, &runtime));
    if (error)
        throw Failure(name(), std::string("cannot be resampled: ") + error);
}

int64_t SpeechIn::length() const
{
    const int64_t n = audio_.length(), rate = audio_.rate_hz();
    return n < 0 ? -1
                 : static_cast<int64_t>(
                       std::llround(static_cast<double>(n) * TALV_SAMPLE_RATE / static_cast<double>(rate)));
}

/* One block of input through the resampler, which takes out its own delay. */
void SpeechIn::pull()
{
    const size_t n = audio_.read(in_.data(), in_.size());
    ended_ = n < in_.size();
    if (!soxr_) {
        for (size_t i = 0; i < n; i++)
            ready_.push_back(to_pcm(in_[i]));
        return;
    }
    const auto run = [&](const float *x, size_t count) {
        size_t used = 0, made = 0;
        do {
            size_t took = 0;
            const float *from = x ? x + used : nullptr;
            if (const char *error =
                    soxr_process(soxr_.get(), from, count - used, &took, out_.data(), out_.size(), &made))
                throw Failure(name(), std::string("cannot be resampled: ") + error);
            used += took;
            for (size_t i = 0; i < made; i++)
                ready_.push_back(to_pcm(out_[i]));
        } while (used < count || made == out_.size());
    };
    if (n > 0)
        run(in_.data(), n);
    if (ended_)
        run(nullptr, 0); /* no input: the last samples come out */
}

size_t SpeechIn::read(int16_t *pcm, size_t n)
{
    while (ready_.size() < n && !ended_)
        pull();
    n = std::min(n, ready_.size());
    std::copy_n(ready_.begin(), n, pcm);
    ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(n));
    return n;
}

std::vector<int16_t> load_speech(const std::string &path, const std::optional<RawFormat> &raw)
{
    SpeechIn in(path, raw);
    std::vector<int16_t> x;
    int16_t block[TALV_FRAME_SAMPLES];
    while (const size_t n = in.read(block, TALV_FRAME_SAMPLES))
        x.insert(x.end(), block, block + n);
    return x;
}

} // namespace talv
