#include "encoder/lag_score.h"

#include "dsp/correlate.h"
#include "dsp/simd_chain.h"
#include "dsp/twofold.h"
#include "dsp/wide.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talv::inline TALV_TARGET
{

namespace
{

#ifdef TALV_SIMD_PLAIN

/** Energies of the windows that follow the first, a sample later each
 *  leaving, entering  I  [steps]   the sample that each step drops, and the one that it takes in
 *  E                  IO [steps + 1]   E[0] given                                                                   */
void slide(const float *leaving, const float *entering, int steps, float *E) noexcept
{
    for (int k = 0; k < steps; k++) {
        const float left = rounded(subtract_exact(wide(E[k]), wide(leaving[k]), wide(leaving[k])));
        E[k + 1] = rounded(add_exact(wide(left), wide(entering[k]), wide(entering[k])));
    }
}

#else

/** Energies of the windows that follow the first, a sample later each, LANES steps at once
 *  While the energy keeps its exponent, adding a square to it and rounding is adding the square rounded to places of the
 *  energy: running sums of such whole numbers, exact in any order, say where all steps lead. Then each of them is done as
 *  it is defined, from where the one before is said to lead; up to the first that leads elsewhere they are right.
 *  leaving, entering  I  [steps + LANES - 1]   the sample that each step drops, and the one that it takes in
 *  E                  IO [steps + LANES]      E[0] given                                                            */
void slide(const float *leaving, const float *entering, int steps, float *E) noexcept
{
    Wide4 grid = broadcast(grid_of(E[0])), from = broadcast(wide(E[0]));
    for (int k = 0; k < steps;) {
        const Wide4 out = load_wide(leaving + k), in = load_wide(entering + k);
        const Wide4 moved = running_sums(add_exact(grid, in, in) - add_exact(grid, out, out));
        const Wide4 now = from + moved;
        const Wide4 left = rounded_wide(subtract_exact(last_and_three(from, now), out, out));
        const Float4 defined = narrowed(add_exact(left, in, in));
        store4(E + k + 1, defined);
        const int proved = equal_lanes(widened(defined), now);
        from = from + last_lane(moved);
        k += LANES;
        if (proved != ALL_LANES) [[unlikely]] {
            k += __builtin_ctz(~static_cast<unsigned>(proved)) + 1 - LANES;
            grid = broadcast(grid_of(E[k]));
            from = broadcast(wide(E[k]));
        }
    }
}

#endif

/** The energy some samples later, rounded only there */
float slide_wide(float E, const float *leaving, const float *entering, int steps) noexcept
{
#ifdef TALV_FLOAT_ONLY
    Twofold all = {E, 0.0f};
    for (int i = 0; i < steps; i++)
        all = add_product(add_product(all, -leaving[i], leaving[i]), entering[i], entering[i]);
    return rounded(all);
#else
    Wide4 in = broadcast(wide(0)), out = broadcast(wide(0));
    int i = 0;
    for (; i + LANES <= steps; i += LANES) {
        const Wide4 a = load_wide(entering + i), b = load_wide(leaving + i);
        in = add_exact(in, a, a);
        out = add_exact(out, b, b);
    }
    wide_t sum_in = sum_of_lanes(in), sum_out = sum_of_lanes(out);
    for (; i < steps; i++) {
        sum_in = add_exact(sum_in, wide(entering[i]), wide(entering[i]));
        sum_out = add_exact(sum_out, wide(leaving[i]), wide(leaving[i]));
    }
    float nearest;
    if (rounds_alike(wide(E) + sum_in - sum_out, (std::fabs(wide(E)) + sum_in + sum_out) * SUM_ORDER_ERROR, &nearest))
        return nearest;

    wide_t last = wide(E);
    for (i = 0; i < steps; i++)
        last =
            add_exact(subtract_exact(last, wide(leaving[i]), wide(leaving[i])), wide(entering[i]), wide(entering[i]));
    return rounded(last);
#endif
}

} // namespace

float slide_energy(const float *x, int n, int lag_lo, int lag_hi, float *E) noexcept
{
    const int count = lag_hi - lag_lo + 1;
    E[0] = energy(x - lag_hi, n);
    slide(x - lag_hi, x - lag_hi + n, count, E);

    return slide_wide(E[count], x - (lag_lo - 1), x - (lag_lo - 1) + n, lag_lo - 1);
}

// NOLINTNEXTLINE(misc-no-recursion): calls itself once, with as many lags as are loaded together
int best_lag(const float *S, const float *energy, int lag_lo, int lag_hi, wide_t *q) noexcept
{
    const Wide4 none = broadcast(std::numeric_limits<wide_t>::infinity()); /* an energy that makes a quotient 0 */
    const int count = lag_hi - lag_lo + 1;
    if (count < LANES) { /* too few to be loaded together: a range that starts earlier, of lags that score nothing */
        float few_S[LANES] = {}, few_energy[LANES] = {};
        std::copy_n(S, count, few_S + LANES - count);
        std::copy_n(energy, count, few_energy);
        const int best = best_lag(few_S, few_energy, lag_hi - LANES + 1, lag_hi, q);
        return std::max(best, lag_lo);
    }
    wide_t score[LAGS_MAX];
    Wide4 top = broadcast(wide(0));
    for (int i = 0; i < count; i += LANES) {
        const int at = std::min(i, count - LANES); /* the last ones may be done twice */
        const Wide4 lag = broadcast(wide(lag_lo + at)) + make_wide4(wide(0), wide(1), wide(2), wide(3));
        const Wide4 s = load_wide(S + at);
        const Wide4 E = load_wide_reversed(energy + count - LANES - at);
        const Wide4 now = (broadcast(wide(1)) - broadcast(LAG_WEIGHT) * lag) * (s * s / choose(E, E, none));
        store(score + at, now);
        top = larger(top, now);
    }

    const wide_t highest = largest_lane(top);
    int best = 0;
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): count is above 0, so score was written
    while (best < count - 1 && score[best] != highest)
        best++;
    const wide_t e = wide(energy[count - 1 - best]);
    *q = e > wide(0) ? wide(S[best]) * wide(S[best]) / e : wide(0);
    return lag_lo + best;
}

} // namespace talv::inline TALV_TARGET
