#include "encoder/rs.h"

#include "dsp/correlate.h"
#include "dsp/wide.h"
#include "encoder/lag_search.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

const float rs_taps[RS_ORDER + 1] = {0.347635597f, 0.251802713f, 0.0826939195f};

void rs_lag_range(int32_t raw_lag, int32_t *lag_lo, int32_t *lag_hi) noexcept
{
    *lag_lo = std::max(int32_t{LAG_MIN}, raw_lag / 2);
    *lag_hi = std::min(int32_t{LAG_MAX}, 8 * raw_lag / 5);
}

namespace
{

constexpr int PIECE_LEN = RS_COLUMN_LEN / 2;
constexpr int ROOM = (RS_MAX_LAGS + 7) / 8 * 8;

/** The second half of the first window is the first half of the second one. The windows' columns do not fall together:
 *  where they share samples, those are estimated in halves of a column, of which there are nine.                    */
[[gnu::noinline]] bool search_by_estimates(const LagBlock *windows, LagChoice *choices) noexcept
{
    const int lo = windows[0].lag_lo, hi = windows[0].lag_hi;
    const float *first = windows[0].x;
    const auto estimate = [=](int piece, int pieces, const float *start, float *near) {
        estimate_lags(first + piece * PIECE_LEN, pieces * PIECE_LEN, lo, hi, start, near);
    };
    float room[RS_COLUMNS + 1][LONGER_LAGS + ROOM], piece_5[ROOM];
    for (float *column : room)
        no_longer_lags(column + LONGER_LAGS);
    float *column[RS_COLUMNS] = {room[0] + LONGER_LAGS, room[1] + LONGER_LAGS, room[2] + LONGER_LAGS};
    float *pieces_3_and_4 = room[3] + LONGER_LAGS;
    const LagEstimates estimates = {{column[0], column[1], column[2]},
                                    magnitude_bound(first - hi, hi + RS_WINDOW_LEAD + FRAME_LEN),
                                    RS_COLUMN_LEN + 1};
    estimate(0, 2, nullptr, column[0]);
    estimate(3, 1, nullptr, column[1]);
    estimate(4, 1, nullptr, column[2]);
    estimate(5, 1, nullptr, piece_5);
    add_estimates(column[1], column[2], lo, hi, pieces_3_and_4);
    estimate(2, 1, column[1], column[1]);
    add_estimates(column[2], piece_5, lo, hi, column[2]);
    if (!search_lag(windows[0], estimates, &choices[0]))
        return false;

    const LagEstimates later = {{pieces_3_and_4, column[1], column[2]}, estimates.magnitude, estimates.error};
    estimate(6, 1, piece_5, column[1]);
    estimate(7, 2, nullptr, column[2]);
    return search_lag(windows[1], later, &choices[1]);
}

} // namespace

void rs_values(const float *y, int lag_lo, int lag_hi, float *rs) noexcept
{
    LagBlock windows[RS_DIM];
    for (int i = 0; i < RS_DIM; i++)
        windows[i] = {y + (i - 1) * RS_WINDOW_LEAD, FRAME_LEN, lag_lo, lag_hi, RS_COLUMNS, RS_COLUMN_LEN, 2, true};
    LagChoice choices[RS_DIM];
    if (!LAGS_ARE_ESTIMATED || !search_by_estimates(windows, choices))
        for (int i = 0; i < RS_DIM; i++)
            search_lag_fully(windows[i], &choices[i]);
    for (int i = 0; i < RS_DIM; i++) {
        const wide_t Q = choices[i].E > 0.0f ? choices[i].q / wide(choices[i].E) : 0;
        rs[i] = rounded(1 - (Q > 1 ? 1 : Q));
    }
}

} // namespace talv::inline TALV_TARGET
