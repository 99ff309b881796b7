#include "decoder/tracks.h"

#include "dsp/fixed.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

void subframe_grid(int32_t lag, int32_t frame_len, int32_t k_min, int32_t k_max, float factor, int32_t *K,
                   int32_t *bounds) noexcept
{
    int32_t count = k_max;
    if (lag > 0)
        count = static_cast<int32_t>(wide(frame_len) * wide(factor) / wide(lag) + wide(0.5));
    if (count < k_min)
        count = k_min;
    if (count > k_max)
        count = k_max;

    const int32_t q = frame_len / count;
    for (int32_t m = 0; m < count; m++)
        bounds[m] = m * q;
    bounds[count] = frame_len;
    *K = count;
}

void pitch_interp(int32_t prev, int32_t cur, int32_t K, int32_t *out) noexcept
{
    if (3 * cur < 2 * prev || 3 * prev < 2 * cur) { /* a jump by more than 1.5 */
        for (int32_t m = 0; m < K; m++)
            out[m] = cur;
        return;
    }
    const float r = 1.0f / static_cast<float>(K);
    const float s = static_cast<float>(cur - prev) * r;
    /* Rounded at its start and never again: a sum that passes a whole number by a rounding is another lag. */
    const Fixed step = fixed(s);
    Fixed v = fixed(rounded(wide(prev) + wide(0.5) + wide(s)));
    for (int32_t m = 0; m < K; m++, v += step)
        out[m] = whole_part(v);
}

void rs_expand(int32_t count, float *v) noexcept
{
    for (int32_t i = 0; i < count; i++) {
        const wide_t excess = wide(v[i]) - wide(0.5);
        if (excess > 0)
            v[i] = rounded(wide(v[i]) + wide(2.2222) * (excess * excess));
        if (v[i] > 1.0f)
            v[i] = 1.0f;
    }
}

void rs_interp(int32_t count, const float *hist, int32_t K, float *out) noexcept
{
    const float s = static_cast<float>(count) / static_cast<float>(K);
    wide_t v = wide(0.5) * wide(count) / wide(K) + wide(0.5);
    for (int32_t m = 0; m < K; m++) {
        const int32_t i = static_cast<int32_t>(v);
        out[m] = rounded((wide(i + 1) - v) * wide(hist[i - 1]) + (v - wide(i)) * wide(hist[i]));
        v += wide(s);
    }
}

void as_step(int32_t dim, const float *prev, const float *cur, int32_t K, float *step) noexcept
{
    const float r = 1.0f / static_cast<float>(K);
    for (int32_t d = 0; d < dim; d++)
        step[d] = rounded((wide(cur[d]) - wide(prev[d])) * wide(r));
}

namespace
{

constexpr wide_t QUARTER_END = wide(0.001); /* a subframe's end is read just before it, inside its own quarter */

} // namespace

void gain_interp(int32_t count, float *g, int32_t K, float onset, float *out) noexcept
{
    for (int32_t j = 0; j < count; j++)
        g[j] *= g[j];

    const float s = static_cast<float>(count) / static_cast<float>(K);
    wide_t start = wide(count) / wide(K) - QUARTER_END;
    if (K < count) /* subframes longer than a quarter: read in the middle of a quarter's length */
        start = wide(rounded(start)) - wide(0.5) / wide(count);
    wide_t v = wide(rounded(start));
    for (int32_t m = 0; m < K; m++) {
        const int32_t i = static_cast<int32_t>(v);
        const wide_t x = v - wide(i);
        const float A = g[i - 1];
        const float B = g[i];
        out[m] = wide(onset) * wide(A) > wide(B) ? rounded((1 - x) * wide(A) + x * wide(B)) : B;
        v += wide(s);
    }
}

} // namespace talv::inline TALV_TARGET
