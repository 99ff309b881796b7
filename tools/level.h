/** Levels of speech: how loud it is while somebody speaks, and whether it was clipped */
#ifndef TALV_TOOLS_LEVEL_H
#define TALV_TOOLS_LEVEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace talv
{

inline constexpr double SILENCE_DBOV = -120; /* of digital silence */

/** Active speech level
 *
 *  The power of the signal over the time in which its envelope lies within 15.9 dB of that very level, each stretch of
 *  activity being prolonged by 0.2 s. Source: ITU-T P.56 (2011), method B.
 */
class ActiveLevel
{
public:
    /** x  I  [n]  8 kHz, full scale -1..1 */
    void add(const float *x, size_t n);

    /** dB of a full-scale square wave; SILENCE_DBOV when there is nothing */
    double dbov() const;

private:
    static constexpr int THRESHOLDS = 15;
    double power_ = 0, p_ = 0, q_ = 0;
    std::array<int64_t, THRESHOLDS> active_{};
    std::array<int64_t, THRESHOLDS> hang_ = filled();
    static std::array<int64_t, THRESHOLDS> filled();
};

/** What the codec was given */
class LevelMeter
{
public:
    /** pcm  I  [n] */
    void add(const int16_t *pcm, size_t n);

    double active_dbov() const { return level_.dbov(); }
    int64_t clipped() const { return clipped_; }

    /** What the user should know, or an empty text */
    std::string warning() const;

private:
    ActiveLevel level_;
    int64_t count_ = 0, clipped_ = 0;
    int peak_ = 0;
};

} // namespace talv

#endif
