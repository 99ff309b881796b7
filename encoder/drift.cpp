#include "encoder/drift.h"

#include "dsp/constants.h"
#include "dsp/float_order.h"
#include "dsp/simd.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int REACH_MAX = LAG_MAX / 5; /* one more than the largest reach            */
constexpr int STRIDE = 8;              /* lags at once: five that count, and a round number */

/** Rounded down lag/5, as a product: 6554 / 2^15 is a little more than a fifth */
constexpr int fifth(int lag) noexcept
{
    return (6554 * lag) >> 15;
}

/** m[i] = max(m[i], m[i + step]) for i < n at least: from maxima over `step` entries to maxima over twice as many
 *  Reads and writes up to STRIDE - 1 entries further, where nothing counts.                                          */
void double_windows(int32_t *m, int n, int step) noexcept
{
    for (int i = 0; i < n; i += STRIDE)
        max_of_8(m + i, m + i + step, m + i);
}

/** The search at one lag, from the winner of the lag before
 *  row  I    the lag's entry and, above it, those of the longer lags
 *  run  IO   distance to the winner of the lag before, or DRIFT_RUN_NONE                                             */
int step_offset(const float *row, int reach, int *run) noexcept
{
    int32_t best = float_order(row[0]);
    if (*run <= reach) {
        const int j = *run;
        *run = 1;
        if (float_order(row[j]) <= best)
            return 0;
        *run = j + 1;
        return j;
    }
    int offset = 0;
    for (int j = reach; j >= 1; j--) {
        if (float_order(row[j]) > best) {
            best = float_order(row[j]);
            offset = j;
            *run = j + 1;
        }
    }
    return offset;
}

} // namespace

int drift_reach(int lag, int lag_hi) noexcept
{
    return std::min(fifth(lag), lag_hi - lag + 1) - 1;
}

void drift_maxima(const float *column, int lag_lo, int lag_hi, float *largest) noexcept
{
    /* A window of w entries is covered by two overlapping windows of a power of two; entries above lag_hi are the least
     * of all. The widths are 4..7 up to lag 39, 8..15 up to 79, 16..31 up to 159; lag 160 has nothing above it.      */
    const int count = lag_hi - lag_lo + 1;
    const int room = count + REACH_MAX;
    int32_t m[LAG_MAX + 1 + REACH_MAX + 2 * STRIDE];
    int32_t winner[LAG_MAX + 1 + STRIDE];
    std::memcpy(m, column, static_cast<size_t>(count) * sizeof *m); /* patterns, as float_order reads them */
    std::fill_n(m + count, REACH_MAX + 2 * STRIDE, INT32_MIN);

    double_windows(m, room - 2, 1);
    double_windows(m, room - 4, 2);
    int lag = lag_lo;
    for (int size = 4;; size *= 2) {
        const int last = std::min(lag_hi, size == 16 ? LAG_MAX : 10 * size - 1);
        while (lag <= last) { /* a fifth is the same for five lags; what is written beyond them is written over */
            const int w = fifth(lag);
            const int32_t *near = m + (lag - lag_lo);
            const int32_t *far = near + (std::min(w, 2 * size - 1) - size);
            max_of_8(near, far, winner + (lag - lag_lo));
            lag = 5 * (w + 1);
        }
        if (lag > lag_hi)
            break;
        double_windows(m, room - 2 * size, size);
    }
    std::memcpy(largest, winner, static_cast<size_t>(count) * sizeof *largest);
}

int drift_offset(const float *column, int lag_lo, int lag_hi, int lag) noexcept
{
    const float *row = column + (lag - lag_lo);
    const int reach = drift_reach(lag, lag_hi);
    int offset = 0;
    int equals = 0;
    for (int j = 1; j <= reach; j++) {
        if (float_order(row[j]) > float_order(row[offset])) {
            offset = j;
            equals = 1;
        } else if (offset > 0 && float_order(row[j]) == float_order(row[offset])) {
            equals++;
        }
    }
    if (equals <= 1) /* one winner, whatever came before */
        return offset;

    int run = DRIFT_RUN_NONE;
    for (int l = lag_hi; l >= lag; l--)
        offset = step_offset(column + (l - lag_lo), drift_reach(l, lag_hi), &run);
    return offset;
}

} // namespace talv::inline TALV_TARGET
