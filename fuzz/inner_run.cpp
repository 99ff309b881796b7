#include "inner.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

Room<float> signal(fuzz::Input &in, int n, int before, float top)
{
    Room<float> x(n, before);
    const int kind = in.byte() % 5;
    const float scale = top * std::ldexp(1.0f, -(in.byte() % 40));
    uint32_t state = in.byte();
    for (int i = 0; i < x.n; i++) {
        float v = 0.0f;
        state = (state * 25173u + 13849u) & 0xFFFF;
        switch (kind) {
        case 0: /* noise */
            v = static_cast<float>(static_cast<int>(state) - 32768) / 32768.0f;
            break;
        case 1: /* a constant, at its largest */
            v = 1.0f;
            break;
        case 2: /* pulses, and exact zeros between them */
            v = state % 16 == 0 ? -1.0f : 0.0f;
            break;
        case 3: /* the ends of the range in turn */
            v = state % 2 == 0 ? 1.0f : -1.0f;
            break;
        default: /* the fuzzer's own */
            v = static_cast<float>(static_cast<int8_t>(in.byte())) / 128.0f;
        }
        x.all()[i] = v * scale;
    }
    return x;
}

Room<float> values(fuzz::Input &in, int n, float lo, float hi)
{
    Room<float> x = signal(in, n, 0, 1.0f);
    for (int i = 0; i < n; i++)
        x[i] = std::clamp(lo + (hi - lo) * (0.5f + 0.5f * x[i]), lo, hi);
    return x;
}

Room<float> lsf_vector(fuzz::Input &in, int order, bool ordered)
{
    Room<float> lsf = ordered ? values(in, order, 0.0f, 3.14159f) : values(in, order, -1.0f, 4.0f);
    if (ordered)
        std::sort(lsf.all(), lsf.all() + order);
    return lsf;
}

uint64_t run_inner(const uint8_t *data, size_t size)
{
    static const Cases groups[] = {dsp_cases(), decoder_cases(), encoder_cases()};
    fuzz::Input in = {data, size};
    Digest digest;
    int choice = in.byte() % (groups[0].count + groups[1].count + groups[2].count);
    for (const Cases &group : groups) {
        if (choice >= 0 && choice < group.count)
            group.list[choice](in, digest);
        choice -= group.count;
    }
    return digest.value;
}

} // namespace talv::inline TALV_TARGET
