#include "encoder/gain.h"

#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{

static_assert(QUARTERS == LANES); /* the four windows run side by side */

/** The sums as they are defined */
[[gnu::cold]] Wide4 square_sums(const float *first, int n, int step) noexcept
{
    Wide4 sum = broadcast(wide(0));
    for (int i = 0; i < n; i++) {
        const Wide4 s = load_strided(first + i, step);
        sum = rounded_wide(add_exact(sum, s, s));
    }
    return sum;
}

} // namespace

SquareSums begin_square_sums(const float *signal, int length, int P) noexcept
{
    SquareSums sums;
    sums.step = length / QUARTERS;
    sums.n = P; /* a whole number of cycles, at least a segment: the window holds the same phases wherever it lies */
    while (sums.n < sums.step)
        sums.n += P;
    sums.end = signal + sums.step;
    sums.next = sums.end - sums.n;
    return sums;
}

void subframe_rms(const SquareSums &begun, float *out) noexcept
{
    SquareSums sums = begun;
    while (sums.end - sums.next >= LANES)
        sums.add_some();
    for (; sums.next < sums.end; sums.next++) {
        const Wide4 s = load_strided(sums.next, sums.step);
        sums.sum = nearly_rounded(add_exact(sums.sum, s, s), &sums.ties);
    }
    const float *first = sums.end - sums.n;
    if (any(sums.ties) || !all_moderate(first, sums.n + (QUARTERS - 1) * sums.step))
        sums.sum = square_sums(first, sums.n, sums.step);

    const wide_t r = wide(1.0f / static_cast<float>(sums.n));
    float sum[LANES];
    store_rounded(sum, sums.sum);
    for (int s = 0; s < QUARTERS; s++)
        out[s] = rounded(std::sqrt(std::sqrt(wide(sum[s]) * r)));
}

void subframe_rms(const float *signal, int length, int P, int, float *out) noexcept
{
    subframe_rms(begin_square_sums(signal, length, P), out);
}

} // namespace talv::inline TALV_TARGET
