/** The transforms of 32, 64 and 128 real points, four butterflies at a time
 *
 *  The butterflies are those of a radix-2 transform with decimation in time, with the same factors and the same
 *  roundings; only the places of the values differ, so that four neighbours always do the same thing. Real and
 *  imaginary parts lie in planes of their own. After the stage that makes transforms of m points out of those of m/2,
 *  value t of the transform of the elements r, r + h/m, r + 2h/m, ... lies at t h/m + r (Stockham's order, which needs
 *  no bit reversal). The last two stages, where fewer than four values of r are left, run across t instead.
 */
#ifndef TALV_DSP_FFT_WIDE_H
#define TALV_DSP_FFT_WIDE_H

#include "dsp/fft.h"
#include "dsp/simd_float.h"
#include "dsp/target.h"
#include "dsp/wide.h"

#include <cstddef>

namespace talv::inline TALV_TARGET
{

enum class Direction { FORWARD, INVERSE };

/** Up to 64 complex values */
struct Planes {
    float re[FFT_MAX / 2], im[FFT_MAX / 2];
};

struct WideComplex {
    Wide4 re, im;
};

TALV_INLINE WideComplex widened(Float4 re, Float4 im) noexcept
{
    return {widened(re), widened(im)};
}

/** b turned by (wr, wi) for the inverse, by its conjugate for the forward transform. All are floats in value. */
template <Direction direction>
TALV_INLINE WideComplex turned(Wide4 wr, Wide4 wi, WideComplex b) noexcept
{
    if constexpr (direction == Direction::INVERSE)
        return {subtract_exact(wr * b.re, wi, b.im), add_exact(wr * b.im, wi, b.re)};
    else
        return {add_exact(wr * b.re, wi, b.im), subtract_exact(wr * b.im, wi, b.re)};
}

/** Stages 1 and 2 together: factors 1 and +-j alone, so that floats are all it takes
 *  z    I            h values in natural order
 *  out  O            four transforms' values for each of the h/4 offsets                                            */
template <Direction direction>
TALV_INLINE void first_stages(const Planes &z, int h, Planes &out) noexcept
{
    const int q = h / 4;
    for (int r = 0; r < q; r += LANES) {
        const Float4 ar = load4(z.re + r), ai = load4(z.im + r);
        const Float4 br = load4(z.re + r + q), bi = load4(z.im + r + q);
        const Float4 cr = load4(z.re + r + 2 * q), ci = load4(z.im + r + 2 * q);
        const Float4 dr = load4(z.re + r + 3 * q), di = load4(z.im + r + 3 * q);
        const Float4 even_r = ar + cr, even_i = ai + ci, odd_r = ar - cr, odd_i = ai - ci;
        const Float4 sum_r = br + dr, sum_i = bi + di, diff_r = br - dr, diff_i = bi - di;
        const int one = direction == Direction::INVERSE ? q : 3 * q; /* place of odd + j diff */
        const int three = 4 * q - one;                               /* and of odd - j diff   */
        store4(out.re + r, even_r + sum_r);
        store4(out.im + r, even_i + sum_i);
        store4(out.re + r + one, odd_r - diff_i);
        store4(out.im + r + one, odd_i + diff_r);
        store4(out.re + r + 2 * q, even_r - sum_r);
        store4(out.im + r + 2 * q, even_i - sum_i);
        store4(out.re + r + three, odd_r + diff_i);
        store4(out.im + r + three, odd_i - diff_r);
    }
}

/** e^(+2 pi j t / 16), t = 0 .. 7: the factors of the stages to 16 points and, every other one, to 8 */
struct MiddleFactors {
    wide_t re[8], im[8];
};

extern const MiddleFactors fft_middle_factors;

/** From transforms of m points to those of 2m, m = h / (2 half) being 4 or 8
 *  half  8 or 4: how many values that do the same thing are neighbours. A constant, as the loops over them are short. */
template <Direction direction, int half>
TALV_INLINE void middle_stage(const Planes &z, int h, Planes &out) noexcept
{
    const std::ptrdiff_t rise = h / 2;
    const int m = h / (2 * half);
    const float *re = z.re, *im = z.im;
    float *out_re = out.re, *out_im = out.im;
    for (int r = 0; r < half; r += LANES) { /* t = 0: no factor */
        const Float4 ar = load4(re + r), ai = load4(im + r), br = load4(re + r + half), bi = load4(im + r + half);
        store4(out_re + r, ar + br);
        store4(out_im + r, ai + bi);
        store4(out_re + r + rise, ar - br);
        store4(out_im + r + rise, ai - bi);
    }
    for (int t = 1; t < m; t++) {
        const Wide4 wr = broadcast(fft_middle_factors.re[t * (8 / m)]);
        const Wide4 wi = broadcast(fft_middle_factors.im[t * (8 / m)]);
        re += 2 * half;
        im += 2 * half;
        out_re += half;
        out_im += half;
        for (int r = 0; r < half; r += LANES) {
            const WideComplex x = {load_wide(re + r), load_wide(im + r)};
            const WideComplex b = {load_wide(re + r + half), load_wide(im + r + half)};
            const WideComplex y = turned<direction>(wr, wi, b);
            store_rounded(out_re + r, x.re + y.re);
            store_rounded(out_im + r, x.im + y.im);
            store_rounded(out_re + r + rise, x.re - y.re);
            store_rounded(out_im + r + rise, x.im - y.im);
        }
    }
}

/** Factors of one size, floats in value, h = n/2 complex points */
struct Factors {
    const wide_t *merge_re, *merge_im; /* [h/2]  e^(-2 pi j k / n), k = 1 .. h/2                      */
    const wide_t *a_re, *a_im;         /* [h/4]  e^(+2 pi j t / (h/2)), of the last stage but one     */
    const wide_t *b_re, *b_im;         /* [h/4]  e^(+2 pi j t / h), of the last stage                 */
};

/** Four values each of Z[t], Z[t+q], Z[t+2q], Z[t+3q], q = h/4 */
struct Quarters {
    Float4 re[4], im[4];
};

/** The last two stages for the points t .. t+3 of each quarter. The factor of the second quarter, t + q, is j times
 *  that of t, to the last bit.                                                                                     */
template <Direction direction>
TALV_INLINE Quarters last_stages(const Planes &z, int t, const Factors &factors) noexcept
{
    Float4 re[4], im[4];
    for (int i = 0; i < 4; i++) {
        re[i] = load4(z.re + 4 * (t + i));
        im[i] = load4(z.im + 4 * (t + i));
    }
    transpose(re);
    transpose(im);

    const Wide4 ar = load(factors.a_re + t), ai = load(factors.a_im + t);
    const WideComplex x0 = widened(re[0], im[0]), y0 = turned<direction>(ar, ai, widened(re[2], im[2]));
    const WideComplex x1 = widened(re[1], im[1]), y1 = turned<direction>(ar, ai, widened(re[3], im[3]));
    const WideComplex sum0 = {rounded_wide(x0.re + y0.re), rounded_wide(x0.im + y0.im)};
    const WideComplex sum1 = {rounded_wide(x1.re + y1.re), rounded_wide(x1.im + y1.im)};
    const WideComplex diff0 = {rounded_wide(x0.re - y0.re), rounded_wide(x0.im - y0.im)};
    const WideComplex diff1 = {rounded_wide(x1.re - y1.re), rounded_wide(x1.im - y1.im)};

    const Wide4 br = load(factors.b_re + t), bi = load(factors.b_im + t);
    const WideComplex u = turned<direction>(br, bi, sum1);
    const WideComplex v = turned<direction>(br, bi, diff1);
    constexpr int one = direction == Direction::INVERSE ? 1 : 3; /* quarter of diff0 + j v */
    constexpr int three = 4 - one;
    Quarters out;
    out.re[0] = narrowed(sum0.re + u.re);
    out.im[0] = narrowed(sum0.im + u.im);
    out.re[2] = narrowed(sum0.re - u.re);
    out.im[2] = narrowed(sum0.im - u.im);
    out.re[one] = narrowed(diff0.re - v.im);
    out.im[one] = narrowed(diff0.im + v.re);
    out.re[three] = narrowed(diff0.re + v.im);
    out.im[three] = narrowed(diff0.im - v.re);
    return out;
}

} // namespace talv::inline TALV_TARGET

#endif
