#include "decoder/postfilter.h"

#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

const float pf_zero_weight[LPC_ORDER] = {0.6f,      0.36f,     0.216f,    0.1296f,   0.07776f,
                                         0.046656f, 0.027994f, 0.016796f, 0.010078f, 0.006047f};
const float pf_pole_weight[LPC_ORDER] = {0.9f,      0.81f,     0.729f,    0.6561f,  0.59049f,
                                         0.531441f, 0.478297f, 0.430467f, 0.38742f, 0.348678f};

namespace
{

/** Even and odd part of 1 + sum c[j] z^-(j+1): their sum is the value at z = 1, their difference that at z = -1 */
struct EvenOdd {
    float even, odd;
};

EvenOdd even_odd(const float *c) noexcept
{
    const double even = 1.0 + wide(c[1]) + wide(c[3]) + wide(c[5]) + wide(c[7]) + wide(c[9]);
    const double odd = wide(c[0]) + wide(c[2]) + wide(c[4]) + wide(c[6]) + wide(c[8]);
    return {rounded(even), rounded(odd)};
}

} // namespace

void postfilter(int order, float *num, const float *den, int count, const float *in, float *out) noexcept
{
    /* T(z) = t0 + t1 z^-1 brings N(z) T(z) / D(z) to 1 at z = 1 and to 0.5 at z = -1. */
    const EvenOdd N = even_odd(num);
    const EvenOdd D = even_odd(den);
    const float G = rounded((wide(D.odd) + wide(D.even)) / (wide(N.odd) + wide(N.even)));
    const double H = 0.5 * (wide(D.odd) - wide(D.even)) / (wide(N.odd) - wide(N.even));
    const float t0 = rounded(0.5 * (wide(G) + H));
    const float t1 = rounded(0.5 * (wide(G) - H));

    /* Fold T into the numerator, from the top. */
    num[order] = t1 * num[order - 1];
    for (int m = order - 1; m >= 1; m--)
        num[m] = rounded(wide(t1) * wide(num[m - 1]) + wide(t0) * wide(num[m]));
    num[0] = rounded(wide(t0) * wide(num[0]) + wide(t1));

    for (int q = 0; q < count; q++) {
        double y = wide(t0) * wide(in[q]);
        for (int j = 0; j <= LPC_ORDER; j++)
            y += wide(num[j]) * wide(in[q - 1 - j]);
        for (int i = LPC_ORDER - 1; i >= 0; i--) /* the newest output last: all other terms are ready before it is */
            y -= wide(den[i]) * wide(out[q - 1 - i]);
        out[q] = rounded(y);
    }
}

} // namespace talv::inline TALV_TARGET
