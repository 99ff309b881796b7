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
    TALV_UNROLL_WIDE
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
    TALV_UNROLL_WIDE
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
    TALV_UNROLL_WIDE
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
    TALV_UNROLL_WIDE
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

constexpr int BLOCK = 60; /* samples filtered at a time: all of a subframe but for the longest lags */

void widen_taps(const float *taps, wide_t *out) noexcept
{
    for (int j = 0; j < PF_TAPS; j += LANES)
        store(out + j, load_wide(taps + j));
}

/** Four sums zero[0] x[q] + zero[1] x[q-1] + ...
 *  turn  I             how many groups were before, modulo 3
 *  x     IO [PF_TAPS]  what zero[j] meets at (j - 4 turn) mod 12: samples that meet zero[j] meet zero[j+4] in the next
 *                      group, where they stand, and after three groups all places have gone round                  */
template <int turn>
TALV_INLINE void zeros_of_group(const Wide4 *zero, Wide4 *x, const float *in, wide_t *out) noexcept
{
    const auto at = [](int j) noexcept { return (j + PF_TAPS - LANES * turn) % PF_TAPS; };
    x[at(0)] = load_wide(in);
    x[at(2)] = halves(high_half(x[at(4)]), low_half(x[at(0)]));
    x[at(1)] = staggered(x[at(2)], x[at(0)]);
    x[at(3)] = staggered(x[at(4)], x[at(2)]);
    Wide4 y = zero[0] * x[at(0)];
    TALV_UNROLL
    for (int j = 1; j < PF_TAPS; j++)
        y = add_exact(y, zero[j], x[at(j)]);
    store(out, y);
}

/** The zeros' part: y[q] = zero[0] x[q] + zero[1] x[q-1] + ... for whole groups of four
 *  in   I  [-11 .. count-1]   and what fills up the last group
 *  out  O  [count up to whole groups]                                                                              */
void apply_zeros(const float *taps, int count, const float *in, wide_t *out) noexcept
{
    wide_t tap[PF_TAPS];
    widen_taps(taps, tap);
    Wide4 zero[PF_TAPS], x[PF_TAPS];
    for (int j = 0; j < PF_TAPS; j++)
        zero[j] = broadcast(tap[j]);
    TALV_UNROLL
    for (int j = LANES; j < PF_TAPS; j++)
        x[j] = load_wide(in - j);
    int q = 0;
    if constexpr (SUMS_IN_REGISTERS > 0) /* there is room for the samples: three groups in turn save moving them */
        for (; q + 2 * LANES < count; q += 3 * LANES) {
            zeros_of_group<0>(zero, x, in + q, out + q);
            zeros_of_group<1>(zero, x, in + q + LANES, out + q + LANES);
            zeros_of_group<2>(zero, x, in + q + 2 * LANES, out + q + 2 * LANES);
        }
    for (; q < count; q += LANES) {
        zeros_of_group<0>(zero, x, in + q, out + q);
        TALV_UNROLL
        for (int j = PF_TAPS - 1; j >= LANES; j--)
            x[j] = x[j - LANES];
    }
}

constexpr int LINKS = 3; /* poles[0] to poles[2] read samples of the group itself */

/** The poles' coefficients as apply_poles() wants them */
struct Poles {
    Pair64 row[LPC_ORDER]; /* from LINKS on, each twice */
    Pair64 third, second_third, first_second,
        first; /* pole[2] and 0, pole[1] and [2], pole[0] and [1], 0 and pole[0] */
};

/** The last outputs, floats in value, older first, and the newest three twice each */
struct Outputs {
    Pair64 y10_9, y9_8, y8_7, y7_6, y6_5, y4_3, y2_1;
    Pair64 third, second, newest;
};

/** Two sums less what pole[9] to pole[3] meet */
TALV_INLINE Pair64 apply_rows(const Poles &poles, Pair64 sum, Pair64 y10, Pair64 y9, Pair64 y8, Pair64 y7, Pair64 y6,
                              Pair64 y5, Pair64 y4) noexcept
{
    sum = subtract_exact(sum, poles.row[9], y10);
    sum = subtract_exact(sum, poles.row[8], y9);
    sum = subtract_exact(sum, poles.row[7], y8);
    sum = subtract_exact(sum, poles.row[6], y7);
    sum = subtract_exact(sum, poles.row[5], y6);
    sum = subtract_exact(sum, poles.row[4], y5);
    return subtract_exact(sum, poles.row[3], y4);
}

/** Four samples of the recursive part: sum - pole[9] y[-10] - ... - pole[0] y[-1] for each
 *  pole[9] to pole[3] are applied to two samples at a time. Then every sample from y[-3] on is applied, as soon as it
 *  is there, to those after it, two at a time again: the older ones still come first in each sum, and a coefficient
 *  of 0 leaves alone what a sample does not reach. Within this chain a sample is rounded to float by
 *  round_half_away(), the quickest way; whether that was right is found out beside the chain, from the sums themselves.
 *  doubt   IO  gathers the bits in which the samples of the chain differ from the sums correctly rounded
 *  return      the samples, correctly rounded: right unless doubt tells of a sample at or before them               */
TALV_INLINE Float4 apply_poles(const Poles &poles, const wide_t *sum, Outputs *outputs, Wide4 *doubt) noexcept
{
    const Outputs past = *outputs;
    const Pair64 y5_4 = staggered(past.y6_5, past.y4_3), y3_2 = staggered(past.y4_3, past.y2_1);
    Pair64 v0_1 =
        apply_rows(poles, load_pair(sum), past.y10_9, past.y9_8, past.y8_7, past.y7_6, past.y6_5, y5_4, past.y4_3);
    Pair64 v2_3 =
        apply_rows(poles, load_pair(sum + 2), past.y8_7, past.y7_6, past.y6_5, y5_4, past.y4_3, y3_2, past.y2_1);
    v0_1 = subtract_exact(v0_1, poles.third, past.third);
    v0_1 = subtract_exact(v0_1, poles.second_third, past.second);
    v0_1 = subtract_exact(v0_1, poles.first_second, past.newest);
    v2_3 = subtract_exact(v2_3, poles.third, past.newest);
    const Pair64 y0 = low_twice(round_half_away(v0_1));
    v0_1 = subtract_exact(v0_1, poles.first, y0);
    v2_3 = subtract_exact(v2_3, poles.second_third, y0);
    const Pair64 y0_1 = round_half_away(v0_1);
    const Pair64 y1 = high_twice(y0_1);
    v2_3 = subtract_exact(v2_3, poles.first_second, y1);
    const Pair64 y2 = low_twice(round_half_away(v2_3));
    v2_3 = subtract_exact(v2_3, poles.first, y2);
    const Pair64 y2_3 = round_half_away(v2_3);

    *outputs = {past.y6_5, y5_4, past.y4_3, y3_2, past.y2_1, y0_1, y2_3, y1, y2, high_twice(y2_3)};
    const Float4 out = narrowed(halves(v0_1, v2_3));
    *doubt = gather_difference(*doubt, widened(out), halves(y0_1, y2_3));
    return out;
}

/** The recursive part as it is defined, for a block in which a sample lay at equal distance from two floats or beyond
 *  the range in which round_half_away() rounds as a conversion does
 *  work  I  [count]  what apply_zeros() left                                                                        */
[[gnu::cold]] void apply_poles_plainly(const float *pole, int count, const wide_t *work, float *out) noexcept
{
    for (int q = 0; q < count; q++) {
        wide_t v = work[q];
        for (int k = LPC_ORDER - 1; k >= 0; k--)
            v = subtract_exact(v, wide(pole[k]), wide(out[q - 1 - k]));
        out[q] = rounded(v);
    }
}

/** At most BLOCK samples */
void filter_block(const PostfilterTaps &taps, int count, const float *in, float *out) noexcept
{
    wide_t work[BLOCK];
    apply_zeros(taps.zero, count, in, work);

    wide_t tap[PF_TAPS];
    widen_taps(taps.pole, tap);
    Poles poles;
    TALV_UNROLL
    for (int k = LINKS; k < LPC_ORDER; k++)
        poles.row[k] = twice(tap[k]);
    poles.third = Pair64{tap[2], 0};
    poles.second_third = Pair64{tap[1], tap[2]};
    poles.first_second = Pair64{tap[0], tap[1]};
    poles.first = Pair64{0, tap[0]};
    const Pair64 y4_3 = load_pair_wide(out - 4), y2_1 = load_pair_wide(out - 2);
    Outputs past = {load_pair_wide(out - 10),
                    load_pair_wide(out - 9),
                    load_pair_wide(out - 8),
                    load_pair_wide(out - 7),
                    load_pair_wide(out - 6),
                    y4_3,
                    y2_1,
                    high_twice(y4_3),
                    low_twice(y2_1),
                    high_twice(y2_1)};
    Wide4 doubt = {};
    for (int q = 0; q < count; q += LANES)
        store4(out + q, apply_poles(poles, work + q, &past, &doubt));
    if (any_bit(doubt)) [[unlikely]]
        apply_poles_plainly(taps.pole, count, work, out);
}

} // namespace

void postfilter_run(const PostfilterTaps *taps, int count, const float *in, float *out) noexcept
{
    for (; count > 0; count -= BLOCK, in += BLOCK, out += BLOCK)
        filter_block(*taps, count < BLOCK ? count : BLOCK, in, out);
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
