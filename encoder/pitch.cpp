#include "encoder/pitch.h"

#include "dsp/correlate.h"
#include "dsp/float_order.h"
#include "dsp/wide.h"

#include <algorithm>
#include <cmath>

namespace talv
{

/* 17-tap low-pass, half of it, centre first; more than 54 dB down from 1500 Hz on */
const float lp_taps[LP_ORDER + 1] = {0.902013838f,    0.820588708f,   0.609591186f,   0.350264102f,  0.128457978f,
                                     -0.00561346347f, -0.0513427779f, -0.0424047709f, -0.0189942252f};

namespace
{

/** One output of a symmetric FIR; newest points at the newest of its 2 order + 1 inputs, which lie in order of time */
float fir_output(int order, const float *taps, const float *newest) noexcept
{
    const float *centre = newest - order;
    double sum = wide(taps[0]) * wide(*centre);
    for (int k = 1; k <= order; k++)
        sum += wide(taps[k]) * (wide(centre[-k]) + wide(centre[k]));
    return rounded(sum);
}

} // namespace

void sym_fir(int order, const float *taps, int n, const float *in, float *out, float *state) noexcept
{
    /* The first outputs reach into the block before: lay its last inputs and this block's first ones end to end. */
    float seam[4 * LP_ORDER];
    const int memory = 2 * order;
    for (int i = 0; i < memory; i++) {
        seam[i] = state[memory - i];
        seam[memory + i] = in[i];
    }
    for (int i = 0; i < memory; i++)
        out[i] = fir_output(order, taps, seam + memory + i);
    for (int i = memory; i < n; i++)
        out[i] = fir_output(order, taps, in + i);

    state[0] = in[n - 1];
    for (int k = 1; k <= memory; k++)
        state[k] = in[n - k];
}

float drift_maximum(const float *column, int row, int reach, int *run, int *offset) noexcept
{
    float c = column[row];
    *offset = 0;
    if (*run <= reach) { /* the winner of the lag before is still in reach: all others between lost to it already */
        const int j = *run;
        *run = 1;
        if (float_order(column[row + j]) > float_order(c)) {
            c = column[row + j];
            *offset = j;
            *run = j + 1;
        }
    } else {
        for (int j = reach; j >= 1; j--) {
            if (float_order(column[row + j]) > float_order(c)) {
                c = column[row + j];
                *offset = j;
                *run = j + 1;
            }
        }
    }
    return c;
}

int drift_reach(int lag, int *limit) noexcept
{
    const int reach = std::min((6554 * lag) >> 15, *limit) - 1; /* 6554 / 2^15 is a fifth */
    (*limit)++;
    return reach;
}

void pitch_search(int nseg, int n, int lag_min, int lag_max, const float *x, int32_t *pitch, float *corr) noexcept
{
    nseg = std::min(nseg, MAX_SEGMENTS);
    const int seglen = n / nseg;
    CorrelationTable table;
    for (int s = 0; s < nseg; s++)
        correlate_lags(x + s * seglen, seglen, lag_min, lag_max, CORR_BIAS, &table.column[s][lag_min]);

    float E = energy(x - lag_max, n); /* of the block `lag` samples ago, slid along */
    int run[MAX_SEGMENTS] = {RUN_NONE, RUN_NONE, RUN_NONE};
    int limit = 1;
    double best = 0.0;
    for (int lag = lag_max; lag >= lag_min; lag--) {
        const int reach = drift_reach(lag, &limit);
        int offset = 0; /* of the last segment: the result describes the newest part of the block */
        float S = 0.0f;
        for (int s = 0; s < nseg; s++)
            S += drift_maximum(table.column[s], lag, reach, &run[s], &offset);
        S -= CORR_BIAS_SUM;
        if (S < 0.0f)
            S = 0.0f;

        const double q = E > 0.0f ? wide(S) * wide(S) / wide(E) : 0.0;
        const double score = (1.0 - LAG_WEIGHT * lag) * q;
        if (score >= best) {
            best = score;
            *corr = rounded(q);
            *pitch = lag + offset;
        }
        E = rounded(wide(E) - wide(x[-lag]) * wide(x[-lag]));
        E = rounded(wide(E) + wide(x[n - lag]) * wide(x[n - lag]));
    }

    /* Slide on to the block itself and normalise by its energy. */
    double block = wide(E);
    for (int i = -(lag_min - 1); i <= -1; i++)
        block = block - wide(x[i]) * wide(x[i]) + wide(x[i + n]) * wide(x[i + n]);
    E = rounded(block);
    *corr = E > 0.0f ? *corr / E : 0.0f;
    if (*corr > 1.0f)
        *corr = 1.0f;
    *corr = rounded(std::sqrt(wide(*corr)));
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

} // namespace talv
