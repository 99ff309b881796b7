#include "decoder/postfilter.h"

#include "dsp/simd_float.h"
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
    Wide4 even, odd;
};

TALV_INLINE EvenOdd even_odd(const Float4 *c) noexcept
{
    Wide4 even = broadcast(1.0), odd = widened(c[0]);
    TALV_UNROLL
    for (int j = 1; j < LPC_ORDER; j += 2) {
        even = even + widened(c[j]);
        if (j + 1 < LPC_ORDER)
            odd = odd + widened(c[j + 1]);
    }
    return {rounded_wide(even), rounded_wide(odd)};
}

/** Fold the tilt into the zeros of four filters, lane by lane
 *  T(z) = t0 + t1 z^-1 brings N(z) T(z) / D(z) to 1 at z = 1 and to 0.5 at z = -1.
 *  num, den  I  [LPC_ORDER]  coefficients of z^-1 .. z^-10
 *  zero      O  [PF_TAPS]    coefficients of z^0 .. z^-11                                                           */
TALV_INLINE void fold_tilt(const Float4 *num, const Float4 *den, Float4 *zero) noexcept
{
    const EvenOdd N = even_odd(num), D = even_odd(den);
    const Wide4 half = broadcast(0.5);
    const Wide4 G = rounded_wide((D.odd + D.even) / (N.odd + N.even));
    const Wide4 H = half * (D.odd - D.even) / (N.odd - N.even);
    const Wide4 t0 = rounded_wide(half * (G + H));
    const Wide4 t1 = rounded_wide(half * (G - H));

    Wide4 before = broadcast(1.0);
    zero[0] = narrowed(t0);
    TALV_UNROLL
    for (int m = 0; m < LPC_ORDER; m++) {
        const Wide4 now = widened(num[m]);
        zero[m + 1] = narrowed(add_exact(t1 * before, t0, now));
        before = now;
    }
    zero[PF_TAPS - 1] = narrowed(t1 * before);
}

/** Four elements of each of `count` LPC vectors, turned: columns[j] holds element j of all */
TALV_INLINE void load_four(const float *lpc, int count, Float4 *columns) noexcept
{
    Float4 block[LANES];
    for (int i = 0; i < LANES; i++)
        block[i] = load4(lpc + (i < count ? i * LPC_ORDER : 0));
    transpose(block);
    for (int i = 0; i < LANES; i++)
        columns[i] = block[i];
}

/** The way back: one member of `count` filters from its columns */
TALV_INLINE void store_taps(const Float4 *columns, int count, float (PostfilterTaps::*member)[PF_TAPS],
                            PostfilterTaps *taps) noexcept
{
    for (int g = 0; g < PF_TAPS; g += LANES) {
        Float4 block[LANES] = {columns[g], columns[g + 1], columns[g + 2], columns[g + 3]};
        transpose(block);
        for (int i = 0; i < count; i++)
            store4(taps[i].*member + g, block[i]);
    }
}

} // namespace

void postfilter_design(const float *lpc, int count, PostfilterTaps *taps) noexcept
{
    Float4 a[LPC_ORDER];
    load_four(lpc, count, a);
    load_four(lpc + LANES, count, a + LANES);
    load_four(lpc + LPC_ORDER - LANES, count, a + LPC_ORDER - LANES); /* two of them once more */

    Float4 num[LPC_ORDER], den[PF_TAPS] = {}, zero[PF_TAPS];
    for (int j = 0; j < LPC_ORDER; j++) {
        num[j] = a[j] * pf_zero_weight[j];
        den[j] = a[j] * pf_pole_weight[j];
    }
    fold_tilt(num, den, zero);
    store_taps(zero, count, &PostfilterTaps::zero, taps);
    store_taps(den, count, &PostfilterTaps::pole, taps);
}

namespace
{

constexpr int BLOCK = 80; /* samples filtered at a time: the longest subframe */

/** The zeros' part: y[q] = zero[0] x[q] + zero[1] x[q-1] + ... for whole groups of four
 *  work  IO [PF_TAPS + count + 3]  x[q] at work[q + PF_TAPS] in, from x[-11] on; y[q] at work[q] out                */
void apply_zeros(const float *zero, int count, wide_t *work) noexcept
{
    Wide4 z[PF_TAPS];
    TALV_UNROLL
    for (int j = 0; j < PF_TAPS; j++)
        z[j] = broadcast(wide(zero[j]));
    for (int q = 0; q < count; q += LANES) {
        const wide_t *x = work + PF_TAPS + q;
        Wide4 y = z[0] * load(x);
        TALV_UNROLL
        for (int j = 1; j < PF_TAPS; j++)
            y = add_exact(y, z[j], load(x - j));
        store(work + q, y);
    }
}

constexpr int LINKS = 5; /* poles[0] to poles[4] read samples that are computed one by one */

/** The coefficients of the poles, as often as they are wanted side by side */
struct Poles {
    Wide4 wide[LPC_ORDER];  /* from LINKS on */
    Pair64 link[LPC_ORDER]; /* below LINKS   */
};

/** The last outputs, floats in value. The names give the four of them, y[-1] being the newest. */
struct Outputs {
    Wide4 y4_1, y6_3, y8_5, y10_7;
    Pair64 last[LINKS]; /* y[-1] .. y[-5], each twice */
};

/** Four samples of the recursive part: sum - pole[9] y[-10] - ... - pole[0] y[-1] for each
 *  pole[9] to pole[5], whose newest sample is y[-3], run side by side. The rest is the chain from one sample to the
 *  next, in which the newest comes last.                                                                            */
TALV_INLINE Wide4 apply_poles(const Poles &poles, Wide4 sum, Outputs *outputs) noexcept
{
    const Outputs past = *outputs;
    sum = subtract_exact(sum, poles.wide[9], past.y10_7);
    sum = subtract_exact(sum, poles.wide[8], staggered(past.y10_7, past.y8_5));
    sum = subtract_exact(sum, poles.wide[7], past.y8_5);
    sum = subtract_exact(sum, poles.wide[6], staggered(past.y8_5, past.y6_3));
    sum = subtract_exact(sum, poles.wide[5], past.y6_3);

    const Pair64 start[LANES] = {low_twice(low_half(sum)), high_twice(low_half(sum)), low_twice(high_half(sum)),
                                 high_twice(high_half(sum))};
    Pair64 y[LINKS + LANES];
    TALV_UNROLL
    for (int i = 0; i < LINKS; i++)
        y[i] = past.last[LINKS - 1 - i];
    TALV_UNROLL
    for (int l = 0; l < LANES; l++) {
        Pair64 v = start[l];
        TALV_UNROLL
        for (int i = LINKS - 1; i >= 0; i--)
            v = subtract_exact(v, poles.link[i], y[LINKS + l - 1 - i]);
        y[LINKS + l] = rounded_wide(v);
    }
    const Pair64 y0_1 = low_lanes(y[LINKS], y[LINKS + 1]), y2_3 = low_lanes(y[LINKS + 2], y[LINKS + 3]);
    outputs->y10_7 = past.y6_3;
    outputs->y8_5 = past.y4_1;
    outputs->y6_3 = halves(high_half(past.y4_1), y0_1);
    outputs->y4_1 = halves(y0_1, y2_3);
    TALV_UNROLL
    for (int i = 0; i < LINKS; i++)
        outputs->last[i] = y[LINKS + LANES - 1 - i];
    return outputs->y4_1;
}

/** At most BLOCK samples */
void filter_block(const PostfilterTaps &taps, int count, const float *in, float *out) noexcept
{
    wide_t work[PF_TAPS + BLOCK + LANES];
    int i = 1 - PF_TAPS;
    for (; i + LANES <= count; i += LANES)
        store(work + PF_TAPS + i, load_wide(in + i));
    for (; i < count; i++)
        work[PF_TAPS + i] = wide(in[i]);
    store(work + PF_TAPS + count, Wide4{}); /* fills up the last group */
    apply_zeros(taps.zero, count, work);

    Poles poles;
    for (int k = 0; k < LPC_ORDER; k++) {
        poles.wide[k] = broadcast(wide(taps.pole[k]));
        poles.link[k] = twice(wide(taps.pole[k]));
    }
    Outputs past = {load_wide(out - 4), load_wide(out - 6), load_wide(out - 8), load_wide(out - 10), {}};
    for (int k = 0; k < LINKS; k++)
        past.last[k] = twice(wide(out[-1 - k]));
    int q = 0;
    for (; q + LANES <= count; q += LANES)
        store_rounded(out + q, apply_poles(poles, load(work + q), &past));
    if (q < count) {
        const Float4 y = narrowed(apply_poles(poles, load(work + q), &past));
        for (int l = 0; q + l < count; l++)
            out[q + l] = y[l];
    }
}

} // namespace

void postfilter_run(const PostfilterTaps *taps, int count, const float *in, float *out) noexcept
{
    for (int q = 0; q < count; q += BLOCK)
        filter_block(*taps, count - q < BLOCK ? count - q : BLOCK, in + q, out + q);
}

[[gnu::cold]] void postfilter(int order, float *num, const float *den, int count, const float *in, float *out) noexcept
{
    Float4 n[LPC_ORDER], d[LPC_ORDER], zero[PF_TAPS];
    PostfilterTaps taps = {};
    for (int j = 0; j < order; j++) {
        n[j] = Float4{num[j], num[j], num[j], num[j]};
        d[j] = Float4{den[j], den[j], den[j], den[j]};
        taps.pole[j] = den[j];
    }
    fold_tilt(n, d, zero);
    taps.zero[0] = zero[0][0];
    for (int j = 0; j <= order; j++)
        taps.zero[j + 1] = num[j] = zero[j + 1][0];
    postfilter_run(&taps, count, in, out);
}

} // namespace talv::inline TALV_TARGET
