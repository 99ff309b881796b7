#include "encoder/rs.h"

#include "dsp/correlate.h"
#include "dsp/wide.h"

#include <algorithm>

namespace talv
{

const float rs_taps[RS_ORDER + 1] = {0.347635597f, 0.251802713f, 0.0826939195f};

namespace
{

constexpr int WINDOW_LEAD = 120; /* the first piece starts this far before the newest block */

/** Row of a lag in a pair table: LAG_MAX belongs to lag_hi, whatever that is */
constexpr int pair_row(int lag, int lag_hi) noexcept
{
    return LAG_MAX - (lag_hi - lag);
}

} // namespace

void rs_lag_range(int32_t raw_lag, int32_t *lag_lo, int32_t *lag_hi) noexcept
{
    *lag_lo = std::max(LAG_MIN, raw_lag / 2);
    *lag_hi = std::min(LAG_MAX, 8 * raw_lag / 5);
}

void rs_correlate(const float *y, int lag_lo, int lag_hi, PieceTable *pieces) noexcept
{
    for (int s = 0; s < RS_PIECES; s++)
        correlate_lags(y - WINDOW_LEAD + s * RS_PIECE_LEN, RS_PIECE_LEN, lag_lo, lag_hi, RS_PIECE_BIAS,
                       pieces->column[s]);
}

void rs_pair_pieces(const PieceTable *pieces, int first, int lag_lo, int lag_hi, CorrelationTable *pairs) noexcept
{
    for (int s = 0; s < MAX_SEGMENTS; s++) {
        const float *even = pieces->column[first + 2 * s];
        const float *odd = pieces->column[first + 2 * s + 1];
        float *pair = &pairs->column[s][pair_row(lag_lo, lag_hi)];
        for (int l = 0; l <= lag_hi - lag_lo; l++)
            pair[l] = even[l] + odd[l];
    }
}

void rs_search(int nseg, int n, int lag_lo, int lag_hi, const float *x, float *rs,
               const CorrelationTable *table) noexcept
{
    float E = energy(x - lag_hi, n);
    int run[MAX_SEGMENTS] = {RUN_NONE, RUN_NONE, RUN_NONE};
    int limit = 1;
    double best = 0.0;
    double Q = 0.0;
    for (int lag = lag_hi; lag >= lag_lo; lag--) {
        const int reach = drift_reach(lag, &limit);
        double sum = 0.0; /* wide across the columns, unlike that of pitch_search */
        for (int s = 0; s < nseg; s++) {
            int offset;
            sum += wide(drift_maximum(table->column[s], pair_row(lag, lag_hi), reach, &run[s], &offset));
        }
        float S = rounded(sum - wide(CORR_BIAS_SUM));
        if (S < 0.0f)
            S = 0.0f;

        const double q = E > 0.0f ? wide(S) * wide(S) / wide(E) : 0.0;
        const double score = (1.0 - LAG_WEIGHT * lag) * q;
        if (score >= best) {
            best = score;
            Q = q;
        }
        E = rounded(wide(E) - wide(x[-lag]) * wide(x[-lag]));
        E = rounded(wide(E) + wide(x[n - lag]) * wide(x[n - lag]));
    }

    double block = wide(E);
    for (int i = -(lag_lo - 1); i <= -1; i++)
        block = block - wide(x[i]) * wide(x[i]) + wide(x[i + n]) * wide(x[i + n]);
    E = rounded(block);
    Q = E > 0.0f ? Q / wide(E) : 0.0;
    if (Q > 1.0)
        Q = 1.0;
    *rs = rounded(1.0 - Q);
}

} // namespace talv
