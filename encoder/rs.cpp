#include "encoder/rs.h"

#include "dsp/correlate.h"
#include "dsp/simd.h"
#include "dsp/wide.h"
#include "encoder/drift.h"
#include "encoder/lag_score.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

const float rs_taps[RS_ORDER + 1] = {0.347635597f, 0.251802713f, 0.0826939195f};

namespace
{
constexpr int WINDOW_LEAD = 120; /* the first piece starts this far before the newest block */
}

void rs_lag_range(int32_t raw_lag, int32_t *lag_lo, int32_t *lag_hi) noexcept
{
    *lag_lo = std::max(int32_t{LAG_MIN}, raw_lag / 2);
    *lag_hi = std::min(int32_t{LAG_MAX}, 8 * raw_lag / 5);
}

void rs_correlate(const float *y, int lag_lo, int lag_hi, PieceTable *pieces) noexcept
{
    /* A piece and its past at a time: widened all at once they would be the largest array of the encoder. */
    wide_t history[LAG_MAX + RS_PIECE_LEN];
    for (int s = 0; s < RS_PIECES; s++) {
        widen(y - WINDOW_LEAD + s * RS_PIECE_LEN - lag_hi, lag_hi + RS_PIECE_LEN, history);
        correlate_lags(history + lag_hi, RS_PIECE_LEN, lag_lo, lag_hi, RS_PIECE_BIAS, pieces->column[s]);
    }
}

void rs_pair_pieces(const PieceTable *pieces, int first, int lag_lo, int lag_hi, PairTable *pairs) noexcept
{
    for (int s = 0; s < RS_COLUMNS; s++) {
        const float *even = pieces->column[first + 2 * s];
        const float *odd = pieces->column[first + 2 * s + 1];
        for (int l = 0; l <= lag_hi - lag_lo; l++)
            pairs->column[s][l] = even[l] + odd[l];
    }
}

void rs_search(int nseg, int n, int lag_lo, int lag_hi, const float *x, float *rs, const PairTable *table) noexcept
{
    const int count = lag_hi - lag_lo + 1;
    wide_t sum[RS_MAX_LAGS] = {}; /* wide across the columns, unlike that of pitch_search */
    for (int s = 0; s < nseg; s++) {
        float largest[RS_MAX_LAGS];
        drift_maxima(table->column[s], lag_lo, lag_hi, largest);
        for (int l = 0; l < count; l++)
            sum[l] += wide(largest[l]);
    }
    float S[RS_MAX_LAGS];
    for (int l = 0; l < count; l++) {
        const float excess = rounded(sum[l] - wide(CORR_BIAS_SUM));
        S[l] = excess < 0.0f ? 0.0f : excess;
    }

    float energy_by_lag[ENERGIES_MAX];
    const float E = slide_energy(x, n, lag_lo, lag_hi, energy_by_lag);
    wide_t Q;
    best_lag(S, energy_by_lag, lag_lo, lag_hi, &Q);
    Q = E > 0.0f ? Q / wide(E) : 0;
    if (Q > 1)
        Q = 1;
    *rs = rounded(1 - Q);
}

} // namespace talv::inline TALV_TARGET
