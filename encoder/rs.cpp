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

float value_of(const float *x, int lag_lo, int lag_hi, const LagEstimates &estimates) noexcept
{
    const LagBlock window = {x, FRAME_LEN, lag_lo, lag_hi, RS_COLUMNS, RS_COLUMN_LEN, 2, true};
    LagChoice choice;
    search_lag(window, estimates, &choice);
    const wide_t Q = choice.E > 0.0f ? choice.q / wide(choice.E) : 0;
    return rounded(1 - (Q > 1 ? 1 : Q));
}

} // namespace

void rs_values(const float *y, int lag_lo, int lag_hi, float *rs) noexcept
{
    /* The second half of the first window is the first half of the second one. The windows' columns do not fall
     * together: where they share samples, those are estimated in halves of a column. */
    float third[ROOM], fourth[ROOM], fifth[ROOM]; /* of the six pieces of the first window */
    const float *first = y - RS_WINDOW_LEAD;
    const auto estimate = [=](int piece, int pieces, const float *start, float *near) {
        if (LAGS_ARE_ESTIMATED)
            estimate_lags(first + piece * PIECE_LEN, pieces * PIECE_LEN, lag_lo, lag_hi, start, near);
    };
    const auto add = [=](const float *a, const float *b, float *near) {
        if (LAGS_ARE_ESTIMATED)
            add_estimates(a, b, lag_lo, lag_hi, near);
    };
    LagEstimates estimates;
    estimates.magnitude = magnitude_bound(first - lag_hi, lag_hi + RS_WINDOW_LEAD + FRAME_LEN);
    estimate(3, 1, nullptr, third);
    estimate(4, 1, nullptr, fourth);
    estimate(5, 1, nullptr, fifth);

    estimate(0, 2, nullptr, estimates.column[0]);
    estimate(2, 1, third, estimates.column[1]);
    add(fourth, fifth, estimates.column[2]);
    rs[0] = value_of(first, lag_lo, lag_hi, estimates);

    add(third, fourth, estimates.column[0]);
    estimate(6, 1, fifth, estimates.column[1]);
    estimate(7, 2, nullptr, estimates.column[2]);
    rs[1] = value_of(y, lag_lo, lag_hi, estimates);
}

} // namespace talv::inline TALV_TARGET
