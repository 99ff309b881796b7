#include "dsp/correlate.h"

#include "dsp/wide.h"

namespace talv
{

namespace
{

constexpr int SIDE_BY_SIDE = 8; /* lags at once: enough independent sums to hide the latency of an addition */

/** `lags` (at most SIDE_BY_SIDE) sums from lag upwards */
template <int lags>
void correlate_group(const float *x, int n, int lag, float bias, float *out) noexcept
{
    double sum[lags];
    for (int l = 0; l < lags; l++)
        sum[l] = wide(bias);
    for (int i = 0; i < n; i++) {
        const double now = wide(x[i]);
        const float *past = x + i - lag;
        for (int l = 0; l < lags; l++)
            sum[l] += now * wide(past[-l]);
    }
    for (int l = 0; l < lags; l++)
        out[l] = rounded(sum[l]);
}

} // namespace

void correlate_lags(const float *x, int n, int lag_lo, int lag_hi, float bias, float *out) noexcept
{
    int lag = lag_lo;
    for (; lag + SIDE_BY_SIDE <= lag_hi + 1; lag += SIDE_BY_SIDE)
        correlate_group<SIDE_BY_SIDE>(x, n, lag, bias, out + (lag - lag_lo));
    for (; lag <= lag_hi; lag++)
        correlate_group<1>(x, n, lag, bias, out + (lag - lag_lo));
}

float energy(const float *x, int n) noexcept
{
    double sum = 0.0;
    for (int i = 0; i < n; i++)
        sum += wide(x[i]) * wide(x[i]);
    return rounded(sum);
}

} // namespace talv
