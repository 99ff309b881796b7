/** Windowed autocorrelation
 *
 *  Its running sums are rounded at every term, so that each term waits for the one before, and most of the processor
 *  idles. It can therefore be taken some terms at a time beside other chains that wait likewise (dsp/simd_chain.h).
 */
#ifndef TALV_ENCODER_AUTOCORR_H
#define TALV_ENCODER_AUTOCORR_H

#include "dsp/constants.h"
#include "dsp/simd_chain.h"
#include "dsp/table.h"
#include "dsp/target.h"

#include <algorithm>

namespace talv::inline TALV_TABLES
{

inline constexpr int ANALYSIS_MAX = 300; /* longest block */

extern const Table<float, ANALYSIS_MAX> analysis_window; /* sin(pi i / 240), rounded to float, i < 240; 0 beyond */

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

inline constexpr int ORDER_MAX = 16; /* largest order */

/** Window and autocorrelation: work[i] = window[i] x[i], r[lag] = sum work[i] work[i+lag]
 *  The running sum is rounded to float at every term, in rising i.
 *  n        I            at most ANALYSIS_MAX
 *  r        O  [order+1]
 *  work     O  [n]                                                                                              */
void window_autocorr(const float *x, int n, float *r, int order, float *work, const float *window) noexcept;

/** Sums for the lags from 0 to LPC_ORDER, and for what fills up the last group, each rounded nearly at every term */
struct AutocorrSums {
    static constexpr int GROUPS = LPC_ORDER / LANES + 1;
    Wide4 r[GROUPS];
    Ties ties;

    /* Element by element, so that the compiler keeps them in registers */
    TALV_INLINE AutocorrSums() noexcept
    {
        TALV_UNROLL
        for (int g = 0; g < GROUPS; g++)
            r[g] = broadcast(wide(0));
    }
    TALV_INLINE void copy(const AutocorrSums &other) noexcept
    {
        TALV_UNROLL
        for (int g = 0; g < GROUPS; g++)
            r[g] = other.r[g];
        ties = other.ties;
    }

    /** One term of each: x[0] x[lag] */
    TALV_INLINE void add(const wide_t *x) noexcept
    {
        TALV_UNROLL
        for (int g = 0; g < GROUPS; g++)
            r[g] = nearly_rounded(add_exact_apart(r[g], broadcast(x[0]), load(x + LANES * g)), &ties);
    }
};

/** An autocorrelation that is under way: the samples come in order, and terms are added as far as they are known */
class Autocorr
{
public:
    explicit Autocorr(int n) noexcept;

    /** Take in the next samples, already windowed; or those of a signal, to be windowed by analysis_window */
    void take(const float *windowed, int count) noexcept;
    void take_windowed(const float *signal, int count) noexcept;
    int missing() const noexcept { return n_ - taken_; }

    /** The terms that can be added now, as others may add them: their number, from which sample on, and to what */
    int ready() const noexcept { return std::max((missing() > 0 ? taken_ - REACH : n_) - added_, 0); }
    const wide_t *next() const noexcept { return x_ + added_; }
    AutocorrSums *sums() noexcept { return &sums_; }
    void has_added(int count) noexcept { added_ += count; }

    /** Add what is left, when all samples are there; r O [order + 1] */
    void finish(float *r, int order) noexcept;

private:
    static constexpr int GROUPS_MAX = ORDER_MAX / LANES + 1;
    static constexpr int REACH = AutocorrSums::GROUPS * LANES; /* one more than the distance to the furthest partner */

    wide_t x_[ANALYSIS_MAX + GROUPS_MAX * LANES]; /* followed by zeros, which leave the shorter sums as they are */
    int n_, taken_ = 0, added_ = 0;
    bool moderate_ = true;
    AutocorrSums sums_;
};

} // namespace talv::inline TALV_TARGET

#endif
