#include "encoder/autocorr.h"

#include "dsp/correlate.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

#include <algorithm>

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

namespace
{

constexpr Table<float, ANALYSIS_MAX> make_window() noexcept
{
    Table<float, ANALYSIS_MAX> table{};
    for (int i = 0; i < FRAME_LEN; i++)
        table.entry[i] = rounded(sin_wide(PI * i / FRAME_LEN));
    return table;
}

} // namespace

constexpr Table<float, ANALYSIS_MAX> analysis_window = make_window();

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

namespace
{

/** The sums as they are defined, of x[0..n) followed by zeros
 *  sum  O  [LANES groups] */
[[gnu::cold]] void autocorr(const wide_t *x, int n, int groups, float *sum) noexcept
{
    for (int g = 0; g < groups; g++) {
        Wide4 r = broadcast(wide(0));
        for (int i = 0; i < n; i++)
            r = rounded_wide(add_exact(r, broadcast(x[i]), load(x + i + LANES * g)));
        store_rounded(sum + LANES * g, r);
    }
}

} // namespace

Autocorr::Autocorr(int n) noexcept : n_(n)
{
    TALV_UNROLL
    for (int i = 0; i < GROUPS_MAX * LANES; i += LANES)
        store(x_ + n + i, broadcast(wide(0)));
}

void Autocorr::take(const float *windowed, int count) noexcept
{
    widen(windowed, count, x_ + taken_);
    moderate_ = all_moderate(windowed, count) && moderate_;
    taken_ += count;
}

void Autocorr::take_windowed(const float *signal, int count) noexcept
{
    if (count <= 0)
        return;
    float windowed[ANALYSIS_MAX];
    for (int i = 0; i < count; i++)
        windowed[i] = analysis_window[taken_ + i] * signal[i];
    take(windowed, count);
}

void Autocorr::finish(float *r, int order) noexcept
{
    float sum[GROUPS_MAX * LANES];
    const int groups = order / LANES + 1;
    AutocorrSums sums;
    sums.copy(sums_);
    TALV_UNROLL_SOME
    for (int i = added_; i < n_; i++)
        sums.add(x_ + i);
    TALV_UNROLL
    for (int g = 0; g < AutocorrSums::GROUPS; g++)
        store_rounded(sum + LANES * g, sums.r[g]);
    if (groups > AutocorrSums::GROUPS || any(sums.ties) || !moderate_)
        autocorr(x_, n_, groups, sum);
    std::copy_n(sum, order + 1, r);
}

void window_autocorr(const float *x, int n, float *r, int order, float *work, const float *window) noexcept
{
    for (int i = 0; i < n; i++)
        work[i] = window[i] * x[i];
    Autocorr whole(n);
    whole.take(work, n);
    whole.finish(r, order);
}

} // namespace talv::inline TALV_TARGET
