#include "encoder/conditioning.h"

#include "dsp/as_codebook.h"
#include "dsp/correlate.h"
#include "dsp/simd.h"
#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

/* To the full precision of a float: with poles at radius 0.9865 (63 Hz) and 0.9433 (49 Hz), next to z = 1, the response
 * at low frequencies hangs on the last digits. */
const float prefilter_num[PREFILTER_TERMS] = {0.9304327f, -3.721731f, 5.582596f, -3.721731f, 0.9304327f};
const float prefilter_den[PREFILTER_TERMS] = {1.0f, -3.855659f, 5.577605f, -3.587796f, 0.8658623f};

namespace
{

/** Entry i is element i of as_codebook, rounded to three decimals, times 1e-7 */
constexpr Table<float, FRAME_LEN> make_floor_noise() noexcept
{
    Table<float, FRAME_LEN> table{};
    for (int i = 0; i < FRAME_LEN; i++) {
        const int32_t thousandths = static_cast<int32_t>(static_cast<double>(as_codebook[i]) * 1000.0 + 0.5);
        table.entry[i] = rounded(thousandths / 1e10);
    }
    return table;
}

} // namespace

constexpr Table<float, FRAME_LEN> floor_noise = make_floor_noise();

void iir_prefilter(const float *den, const float *num, const int16_t *pcm, float *out, float *state, int n) noexcept
{
    constexpr int PAST = PREFILTER_TERMS - 1;
    wide_t w[FRAME_LEN];             /* output of the recursive part, not rounded                    */
    wide_t stored[PAST + FRAME_LEN]; /* the same as the memory keeps it: rounded, after PAST older ones */
    wide_t d[PREFILTER_TERMS];
    for (int k = 0; k < PREFILTER_TERMS; k++)
        d[k] = wide(den[k]);
    for (int k = 1; k <= PAST; k++)
        stored[PAST - k] = wide(state[k]);

    /* The recursive part. The newest term comes last: all the others are then ready before it is. */
    for (int i = 0; i < n; i++) {
        const wide_t *past = stored + PAST + i;
        wide_t sum = subtract_exact(wide(pcm[i]), past[-4], d[4]);
        sum = subtract_exact(sum, past[-3], d[3]);
        sum = subtract_exact(sum, past[-2], d[2]);
        w[i] = subtract_exact(sum, past[-1], d[1]);
        stored[PAST + i] = wide(rounded(w[i]));
    }

    /* The other part reads the present w unrounded. */
    Wide4 c[PREFILTER_TERMS];
    TALV_UNROLL
    for (int k = 0; k < PREFILTER_TERMS; k++)
        c[k] = broadcast(wide(num[k]));
    for (int i = 0; i < n; i += LANES) {
        const wide_t *past = stored + PAST + i;
        Wide4 sum = load(past - 4) * c[4];
        sum = add_exact(sum, load(past - 3), c[3]);
        sum = add_exact(sum, load(past - 2), c[2]);
        sum = add_exact(sum, load(past - 1), c[1]);
        store_rounded(out + i, sum + load(w + i) * c[0]);
    }

    state[0] = rounded(stored[PAST + n - 1]);
    for (int k = 1; k <= PAST; k++)
        state[k] = rounded(stored[PAST + n - k]);
    add_floor_noise(n, out);
    for (int k = 1; k <= 3; k++)
        state[k] += floor_noise[k];
}

namespace
{

/** The samples added up in rising order in double, rounded once */
float block_sum(int n, const float *x) noexcept
{
    Wide4 part[4] = {}, size[4] = {};
    int i = 0;
    for (; i + 4 * LANES <= n; i += 4 * LANES)
        TALV_UNROLL
    for (int p = 0; p < 4; p++) {
        const Wide4 v = load_wide(x + i + LANES * p);
        part[p] = part[p] + v;
        size[p] = size[p] + magnitude(v);
    }
    wide_t total = sum_of_lanes((part[0] + part[1]) + (part[2] + part[3]));
    wide_t magnitudes = sum_of_lanes((size[0] + size[1]) + (size[2] + size[3]));
    for (; i < n; i++) {
        total += wide(x[i]);
        magnitudes += std::fabs(wide(x[i]));
    }
    float nearest;
    if (rounds_alike(total, magnitudes * SUM_ORDER_ERROR, &nearest))
        return nearest;

    total = wide(0);
    for (i = 0; i < n; i++)
        total += wide(x[i]);
    return rounded(total);
}

} // namespace

void dc_tracker(int n, float *mean, float *x) noexcept
{
    const float sum = block_sum(n, x);
    const wide_t m = wide(sum) / wide(n);
    const float step = rounded((m - wide(*mean)) / wide(n));

    float level[FRAME_LEN]; /* a running sum, so it is walked first */
    level[0] = *mean;
    for (int i = 1; i < n; i++)
        level[i] = level[i - 1] + step;
    for (int i = 0; i < n; i++)
        x[i] -= level[i];
    *mean = rounded(m);
}

void lpc_residual(int, int n, const float *x, const float *a, float *out) noexcept
{
    wide_t history[LPC_ORDER + FRAME_LEN];
    widen(x - LPC_ORDER, LPC_ORDER + n, history);
    Wide4 tap[LPC_ORDER];
    TALV_UNROLL
    for (int j = 0; j < LPC_ORDER; j++)
        tap[j] = broadcast(wide(a[j]));
    int i = 0;
    for (; i + LANES <= n; i += LANES) {
        const wide_t *now = history + LPC_ORDER + i;
        Wide4 e = load(now);
        TALV_UNROLL
        for (int j = 0; j < LPC_ORDER; j++)
            e = add_exact(e, tap[j], load(now - 1 - j));
        store_rounded(out + i, e);
    }
    for (; i < n; i++) {
        const wide_t *now = history + LPC_ORDER + i;
        wide_t e = now[0];
        for (int j = 0; j < LPC_ORDER; j++)
            e = add_exact(e, wide(a[j]), now[-1 - j]);
        out[i] = rounded(e);
    }
}

void add_floor_noise(int n, float *x) noexcept
{
    for (int i = 0; i < n; i++)
        x[i] += floor_noise[i];
}

} // namespace talv::inline TALV_TARGET
