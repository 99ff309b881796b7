#include "level.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <talvcodec.h>

namespace talv
{
namespace
{

constexpr double RATE = TALV_SAMPLE_RATE;
constexpr int64_t HANGOVER = TALV_SAMPLE_RATE / 5; /* 0.2 s                                    */
constexpr double MARGIN_DB = 15.9;
constexpr double LOW_DBOV = -50;  /* 20 dB and more below usual speech                          */
constexpr double LOUD_DBOV = -15; /* from here on decoded speech leaves the range of 16 bits now and then */
constexpr int SILENT_PEAK = 4;    /* no more than the noise of 16 bits                          */

} // namespace

std::array<int64_t, ActiveLevel::THRESHOLDS> ActiveLevel::filled()
{
    std::array<int64_t, THRESHOLDS> hang{};
    hang.fill(HANGOVER); /* nothing was active before the start */
    return hang;
}

void ActiveLevel::add(const float *x, size_t n)
{
    static const double g = std::exp(-1 / (RATE * 0.03)); /* envelope of 30 ms, twice */
    for (size_t i = 0; i < n; i++) {
        const auto v = static_cast<double>(x[i]);
        power_ += v * v;
        p_ = g * p_ + (1 - g) * std::abs(v);
        q_ = g * q_ + (1 - g) * p_;
        double threshold = 1.0 / 32768;
        for (size_t j = 0; j < THRESHOLDS; j++, threshold *= 2) {
            if (q_ >= threshold) {
                active_[j]++;
                hang_[j] = 0;
            } else if (hang_[j] < HANGOVER) {
                active_[j]++;
                hang_[j]++;
            }
        }
    }
}

/* The level at each threshold, less the threshold, falls; where it meets the margin is the answer. */
double ActiveLevel::dbov() const
{
    double before_db = 0, before_distance = 0;
    for (size_t j = 0; j < THRESHOLDS; j++) {
        if (active_[j] == 0)
            return j == 0 ? SILENCE_DBOV : before_db;
        const double level_db = 10 * std::log10(power_ / static_cast<double>(active_[j]) + 1e-30);
        const double distance = level_db - 20 * std::log10(std::ldexp(1.0, static_cast<int>(j)) / 32768);
        if (distance <= MARGIN_DB) {
            if (j == 0)
                return level_db;
            const double t = (before_distance - MARGIN_DB) / (before_distance - distance);
            return before_db + t * (level_db - before_db);
        }
        before_db = level_db;
        before_distance = distance;
    }
    return before_db;
}

void LevelMeter::add(const int16_t *pcm, size_t n)
{
    float x[TALV_FRAME_SAMPLES];
    for (size_t done = 0; done < n;) {
        const size_t m = std::min<size_t>(n - done, TALV_FRAME_SAMPLES);
        for (size_t i = 0; i < m; i++) {
            const int v = pcm[done + i];
            x[i] = static_cast<float>(v) / 32768.0f;
            peak_ = std::max(peak_, std::abs(v));
            clipped_ += v == 32767 || v == -32768;
        }
        level_.add(x, m);
        done += m;
    }
    count_ += static_cast<int64_t>(n);
}

std::string LevelMeter::warning() const
{
    char text[96] = "";
    if (count_ == 0)
        return "";
    if (peak_ < SILENT_PEAK)
        return "is silent";
    if (clipped_ > 0)
        std::snprintf(text, sizeof text, "is clipped: %lld samples at full scale (--gain or --normalize)",
                      static_cast<long long>(clipped_));
    else if (active_dbov() > LOUD_DBOV)
        std::snprintf(text, sizeof text, "is very loud: %.1f dBov, may crackle when decoded (--gain or --normalize)",
                      active_dbov());
    else if (active_dbov() < LOW_DBOV)
        std::snprintf(text, sizeof text, "is very low: %.1f dBov where there is speech (--gain or --normalize)",
                      active_dbov());
    return text;
}

} // namespace talv
