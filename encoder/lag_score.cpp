#include "encoder/lag_score.h"

#include "dsp/correlate.h"
#include "dsp/simd.h"
#include "dsp/wide.h"

#include <limits>

namespace talv::inline TALV_TARGET
{

float slide_energy(const float *x, int n, int lag_lo, int lag_hi, wide_t *energy_by_lag) noexcept
{
    wide_t E = wide(energy(x - lag_hi, n));
    for (int lag = lag_hi; lag >= lag_lo; lag--) {
        const wide_t leaving = wide(x[-lag]), entering = wide(x[n - lag]);
        energy_by_lag[lag - lag_lo] = E > 0 ? E : std::numeric_limits<wide_t>::infinity();
        E = wide(rounded(subtract_exact(E, leaving, leaving)));
        E = wide(rounded(add_exact(E, entering, entering)));
    }
    for (int i = -(lag_lo - 1); i <= -1; i++) { /* on to the block itself, wide until its end */
        const wide_t leaving = wide(x[i]), entering = wide(x[i + n]);
        E = add_exact(subtract_exact(E, leaving, leaving), entering, entering);
    }
    return rounded(E);
}

int best_lag(const float *S, const wide_t *energy, int lag_lo, int lag_hi, wide_t *q) noexcept
{
    const int count = lag_hi - lag_lo + 1;
    wide_t score[LAGS_MAX + LANES];
    Wide4 lag4 = make_wide4(wide(lag_lo), wide(lag_lo + 1), wide(lag_lo + 2), wide(lag_lo + 3));
    int i = 0;
    for (; i + LANES <= count; i += LANES) {
        const Wide4 s = load_wide(S + i);
        store(score + i, (broadcast(1.0) - broadcast(LAG_WEIGHT) * lag4) * (s * s / load(energy + i)));
        lag4 = lag4 + broadcast(LANES);
    }
    for (; i < count; i++)
        score[i] = (1 - LAG_WEIGHT * wide(lag_lo + i)) * (wide(S[i]) * wide(S[i]) / energy[i]);

    int best = count - 1;
    for (i = count - 2; i >= 0; i--)
        if (score[i] >= score[best])
            best = i;
    *q = wide(S[best]) * wide(S[best]) / energy[best];
    return lag_lo + best;
}

} // namespace talv::inline TALV_TARGET
