#include "encoder/pitch.h"

#include "dsp/correlate.h"
#include "dsp/simd_estimate.h"
#include "dsp/wide.h"
#include "encoder/lag_search.h"

#include <algorithm>
#include <cmath>

namespace talv::inline TALV_TARGET
{

/* 17-tap low-pass, half of it, centre first; more than 54 dB down from 1500 Hz on */
const float lp_taps[LP_ORDER + 1] = {0.902013838f,    0.820588708f,   0.609591186f,   0.350264102f,  0.128457978f,
                                     -0.00561346347f, -0.0513427779f, -0.0424047709f, -0.0189942252f};

namespace
{

constexpr int BLOCK_MAX = FRAME_LEN;

/** Outputs of a symmetric FIR, four side by side
 *  history  I  [2 order + n]   inputs in order of time, floats in value
 *  n        I                  a multiple of LANES                                                                   */
template <int order>
void fir_block(const float *taps, int n, const wide_t *history, float *out) noexcept
{
    Wide4 tap[order + 1];
    TALV_UNROLL
    for (int k = 0; k <= order; k++)
        tap[k] = broadcast(wide(taps[k]));
    for (int i = 0; i < n; i += LANES) {
        const wide_t *centre = history + i + order;
        Wide4 sum = tap[0] * load(centre);
        TALV_UNROLL
        for (int k = 1; k <= order; k++)
            sum = sum + tap[k] * (load(centre + k) + load(centre - k));
        store_rounded(out + i, sum);
    }
}

} // namespace

void sym_fir(int order, const float *taps, int n, const float *in, float *out, float *state) noexcept
{
    /* The first outputs reach into the block before: lay its last inputs and this block end to end. */
    const int memory = 2 * order;
    wide_t history[2 * LP_ORDER + BLOCK_MAX];
    for (int i = 0; i < memory; i++)
        history[i] = wide(state[memory - i]);
    widen(in, n, history + memory);

    if (order == LP_ORDER)
        fir_block<LP_ORDER>(taps, n, history, out);
    else
        fir_block<RS_ORDER>(taps, n, history, out);

    state[0] = in[n - 1];
    for (int k = 1; k <= memory; k++)
        state[k] = in[n - k];
}

namespace
{

[[gnu::noinline]] bool search_by_estimates(const LagBlock &block, LagChoice *choice) noexcept
{
    float column[MAX_SEGMENTS][LONGER_LAGS + ESTIMATES_MAX];
    LagEstimates estimates;
    estimates.magnitude = magnitude_bound(block.x - block.lag_hi, block.lag_hi + block.n);
    const int count = block.lag_hi - block.lag_lo + 1;
    const bool split = block.column_len == SPLIT_LEN && count <= SPLIT_LAGS && count > SPLIT_LAGS - FLOATS;
    estimates.error = split ? SPLIT_ERROR : static_cast<float>(block.column_len + 1);
    for (int s = 0; s < block.columns; s++) {
        float *near = column[s] + LONGER_LAGS;
        no_longer_lags(near);
        const float *x = block.x + s * block.column_len;
        if (split) /* as the encoder asks for them */
            estimate_split_lags(x, block.lag_hi, near);
        else
            estimate_lags(x, block.column_len, block.lag_lo, block.lag_hi, nullptr, near);
        estimates.column[s] = near;
    }
    return search_lag(block, estimates, choice);
}

} // namespace

void pitch_search(int nseg, int n, int lag_min, int lag_max, const float *x, int32_t *pitch, float *corr) noexcept
{
    nseg = std::min(nseg, MAX_SEGMENTS);
    const LagBlock block = {x, n, lag_min, lag_max, nseg, n / nseg, 1, false};
    LagChoice choice;
    if (!LAGS_ARE_ESTIMATED || !search_by_estimates(block, &choice))
        search_lag_fully(block, &choice);

    *pitch = choice.lag + choice.offset; /* the offset is the last segment's: the newest part of the block */
    const float E = choice.E;
    float r2 = E > 0.0f ? rounded(choice.q) / E : 0.0f;
    if (r2 > 1.0f) /* the allowance for drift can take it there */
        r2 = 1.0f;
    *corr = rounded(std::sqrt(wide(r2)));
}

namespace
{

constexpr float VOICED = 0.5f; /* a block's correlation from which on it counts as voiced */

/* Four fifths and six fifths of a lag, compared in whole numbers, so that no factor is rounded */
constexpr bool below_four_fifths(int32_t a, int32_t b) noexcept
{
    return 5 * a < 4 * b;
}
constexpr bool above_six_fifths(int32_t a, int32_t b) noexcept
{
    return 5 * a > 6 * b;
}

/** What the middle lag becomes between its neighbours p0 and p2 */
int32_t settle(float c0, float c1, float c2, int32_t p0, int32_t p1, int32_t p2) noexcept
{
    const bool voiced0 = c0 >= VOICED, voiced1 = c1 >= VOICED, voiced2 = c2 >= VOICED;
    if (voiced0 && voiced1) {
        const bool outlier = (below_four_fifths(p1, p0) && below_four_fifths(p1, p2)) ||
                             (above_six_fifths(p1, p0) && above_six_fifths(p1, p2));
        if (!outlier)
            return p1;
        return c2 > c0 ? p2 : p0;
    }
    if (voiced0)
        return c2 < c0 ? p0 : p2;
    if (voiced1)
        return c2 > c1 ? p2 : p1;
    if (voiced2)
        return p2;

    /* Nothing is voiced: limit the rate of change. */
    if (below_four_fifths(p1, p0))
        p1 = 4 * p0 / 5;
    if (above_six_fifths(p1, p0))
        p1 = 6 * p0 / 5;
    return p1;
}

} // namespace

void pitch_track(float *corr, int32_t *pitch, int32_t *out) noexcept
{
    *out = settle(corr[0], corr[1], corr[2], pitch[0], pitch[1], pitch[2]);
    corr[0] = corr[1];
    corr[1] = corr[2];
    pitch[0] = *out;
    pitch[1] = pitch[2];
}

} // namespace talv::inline TALV_TARGET
