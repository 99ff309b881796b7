#include "encoder/conditioning.h"

#include "dsp/as_codebook.h"
#include "dsp/wide.h"

namespace talv
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
        const int32_t thousandths = static_cast<int32_t>(wide(as_codebook[i]) * 1000.0 + 0.5);
        table.entry[i] = rounded(thousandths / 1e10);
    }
    return table;
}

} // namespace

constexpr Table<float, FRAME_LEN> floor_noise = make_floor_noise();

void iir_prefilter(const float *den, const float *num, const int16_t *pcm, float *out, float *state, int n) noexcept
{
    const double reciprocal = wide(1.0f / den[0]);
    float w1 = state[1], w2 = state[2], w3 = state[3], w4 = state[4];
    for (int i = 0; i < n; i++) {
        /* The newest term comes last: all the others are then ready before it is. */
        const double w = (static_cast<double>(pcm[i]) - wide(w4) * wide(den[4]) - wide(w3) * wide(den[3]) -
                          wide(w2) * wide(den[2]) - wide(w1) * wide(den[1])) *
                         reciprocal;
        state[0] = rounded(w);
        out[i] = rounded(wide(w4) * wide(num[4]) + wide(w3) * wide(num[3]) + wide(w2) * wide(num[2]) +
                         wide(w1) * wide(num[1]) + w * wide(num[0])); /* w not yet rounded */
        w4 = w3;
        w3 = w2;
        w2 = w1;
        w1 = state[0];
    }
    state[1] = w1;
    state[2] = w2;
    state[3] = w3;
    state[4] = w4;

    add_floor_noise(n, out);
    for (int k = 1; k <= 3; k++)
        state[k] += floor_noise[k];
}

void dc_tracker(int n, float *mean, float *x) noexcept
{
    double total = 0.0;
    for (int i = 0; i < n; i++)
        total += wide(x[i]);
    const float sum = rounded(total);
    const double m = wide(sum) / n;
    const float step = rounded((m - wide(*mean)) / n);

    float level = *mean;
    for (int i = 0; i < n; i++) {
        x[i] -= level;
        level += step;
    }
    *mean = rounded(m);
}

void lpc_residual(int, int n, const float *x, const float *a, float *out) noexcept
{
    for (int i = 0; i < n; i++) {
        double e = wide(x[i]);
        for (int j = 0; j < LPC_ORDER; j++)
            e += wide(a[j]) * wide(x[i - 1 - j]);
        out[i] = rounded(e);
    }
}

void add_floor_noise(int n, float *x) noexcept
{
    for (int i = 0; i < n; i++)
        x[i] += floor_noise[i];
}

} // namespace talv
