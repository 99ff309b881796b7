#include "encoder/gain.h"

#include "dsp/wide.h"

#include <cmath>

namespace talv
{

void subframe_rms(const float *signal, int length, int P, int segments, float *out) noexcept
{
    const int seg = length / segments;
    int L = P; /* a whole number of cycles, at least a segment: the window holds the same phases wherever it lies */
    while (L < seg)
        L += P;
    const float r = 1.0f / static_cast<float>(L);

    for (int s = 0; s < segments; s++) {
        const int end = (s + 1) * seg;
        float acc = 0.0f;
        for (int i = end - L; i < end; i++)
            acc = rounded(wide(signal[i]) * wide(signal[i]) + wide(acc));
        out[s] = rounded(std::sqrt(std::sqrt(wide(acc) * wide(r))));
    }
}

} // namespace talv
