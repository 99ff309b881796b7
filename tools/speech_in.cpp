#include "speech_in.h"

#include "failure.h"
#include "level.h"

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
    return static_cast<int16_t>(y >= 32767.0f ? INT16_MAX : std::lrint(y));
}

} // namespace

SpeechIn::SpeechIn(const std::string &path, const SpeechOptions &options)
    : audio_(path, options.raw, options.channel), gain_(static_cast<float>(std::pow(10, options.gain_db / 20)))
{
    const int rate = audio_.rate_hz();
    if (rate < RATE_MIN_HZ || rate > RATE_MAX_HZ)
        throw Failure(name(), "has a sample rate of " + std::to_string(rate) + " Hz", Status::alien);
    skip_ = std::llround(options.start_s * rate);
    if (options.duration_s)
        left_ = std::llround(*options.duration_s * rate);

    /* A frame of time at once: on a live pipe a longer block would only be waited for. */
    in_.resize(static_cast<size_t>(rate) * TALV_FRAME_SAMPLES / TALV_SAMPLE_RATE);
    open_resampler(rate);
    if (options.normalize)
        normalize();
}

void SpeechIn::open_resampler(int rate)
{
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
    int64_t n = audio_.length();
    if (n < 0)
        return -1;
    n = std::max<int64_t>(0, n - skip_);
    if (left_ >= 0)
        n = std::min(n, left_);
    return std::llround(static_cast<double>(n) * TALV_SAMPLE_RATE / audio_.rate_hz());
}

std::vector<std::string> SpeechIn::comments() const
{
    std::vector<std::string> comments;
    const std::pair<int, const char *> kinds[] = {{SF_STR_TITLE, "TITLE"},         {SF_STR_ARTIST, "ARTIST"},
                                                  {SF_STR_ALBUM, "ALBUM"},         {SF_STR_DATE, "DATE"},
                                                  {SF_STR_COPYRIGHT, "COPYRIGHT"}, {SF_STR_LICENSE, "LICENSE"},
                                                  {SF_STR_COMMENT, "DESCRIPTION"}};
    for (const auto &[kind, name] : kinds)
        if (const std::string text = audio_.text(kind); !text.empty())
            comments.push_back(std::string(name) + "=" + text);
    return comments;
}

/* All of the recording, and the gain that brings its active level to the normal one. The measure's thresholds lie 6 dB
 * apart and do not move with the gain, so that the reading may rise several times as fast as the gain does: each look
 * corrects the one before, by less once that was too much. */
void SpeechIn::normalize()
{
    constexpr int LOOKS = 12;
    constexpr double NEAR_DB = 0.05;
    while (!ended_)
        pull();
    double share = 1, before_db = 0;
    for (int look = 0; look < LOOKS; look++) {
        ActiveLevel level;
        for (const float x : ready_) {
            const float y = gain_ * x;
            level.add(&y, 1);
        }
        const double off_db = NORMAL_DBOV - level.dbov();
        if (level.dbov() <= SILENCE_DBOV || std::abs(off_db) < NEAR_DB)
            return;
        if (off_db * before_db < 0)
            share /= 2;
        gain_ *= static_cast<float>(std::pow(10, share * off_db / 20));
        before_db = off_db;
    }
}

/* One block of input through the resampler, which takes out its own delay. */
void SpeechIn::pull()
{
    while (skip_ > 0) {
        const size_t n = audio_.read(in_.data(), std::min(in_.size(), static_cast<size_t>(skip_)));
        skip_ = n == 0 ? 0 : skip_ - static_cast<int64_t>(n);
    }
    const size_t want = left_ < 0 ? in_.size() : std::min(in_.size(), static_cast<size_t>(left_));
    const size_t n = want == 0 ? 0 : audio_.read(in_.data(), want);
    if (left_ >= 0)
        left_ -= static_cast<int64_t>(n);
    ended_ = n < in_.size();
    if (used_ > 0) {
        ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(used_));
        used_ = 0;
    }
    if (!soxr_) {
        ready_.insert(ready_.end(), in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(n));
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
                ready_.push_back(out_[i]);
        } while (used < count || made == out_.size());
    };
    if (n > 0)
        run(in_.data(), n);
    if (ended_)
        run(nullptr, 0); /* no input: the last samples come out */
}

size_t SpeechIn::read(int16_t *pcm, size_t n)
{
    while (ready_.size() - used_ < n && !ended_)
        pull();
    n = std::min(n, ready_.size() - used_);
    for (size_t i = 0; i < n; i++)
        pcm[i] = to_pcm(gain_ * ready_[used_ + i]);
    used_ += n;
    if (n == 0 && left_ != 0)
        audio_.finish(); /* unless no more was wanted */
    return n;
}

std::vector<int16_t> load_speech(const std::string &path, const std::optional<RawFormat> &raw)
{
    SpeechOptions options;
    options.raw = raw;
    SpeechIn in(path, options);
    std::vector<int16_t> x;
    int16_t block[TALV_FRAME_SAMPLES];
    while (const size_t n = in.read(block, TALV_FRAME_SAMPLES))
        x.insert(x.end(), block, block + n);
    return x;
}

} // namespace talv
