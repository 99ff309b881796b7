#include "decoder/envelope.h"

#include "dsp/simd_float.h"
#include "dsp/table.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

void poly_mul2(int count, float *poly, float c1, float c2) noexcept
{
    const wide_t C1 = wide(c1), C2 = wide(c2);
    poly[count + 1] = c2 * poly[count - 1];
    poly[count] = rounded(add_exact(C2 * wide(poly[count - 2]), C1, wide(poly[count - 1])));
    for (int m = count - 1; m >= 2; m--)
        poly[m] = rounded(add_exact(C1 * wide(poly[m - 1]), C2, wide(poly[m - 2])) + wide(poly[m]));
    poly[1] = rounded(add_exact(wide(poly[1]), C1, wide(poly[0])));
}

namespace
{

constexpr double TWO_PI = 6.283185307;

/** (cos theta, sin theta), theta = 2 pi / p */
constexpr Complex first_harmonic(int p) noexcept
{
    const float theta = rounded(TWO_PI / p);
    return {rounded(cos_wide(static_cast<double>(theta))), rounded(sin_wide(static_cast<double>(theta)))};
}

constexpr int LAG_COUNT = LAG_MAX_FRAME - LAG_MIN + 1;

constexpr Table<Complex, LAG_COUNT> make_first_harmonics() noexcept
{
    Table<Complex, LAG_COUNT> table{};
    for (int i = 0; i < LAG_COUNT; i++)
        table.entry[i] = first_harmonic(LAG_MIN + i);
    return table;
}

constexpr Table<Complex, LAG_COUNT> first_harmonics = make_first_harmonics();

/** (cos k theta, sin k theta) in its two low lanes, walking over k. Both obey v(k+1) = 2 cos(theta) v(k) - v(k-1), and
 *  so do the cosines and sines of the multiples of each angle k theta in polynomial_at(). A fused operation does such a
 *  step in one rounding; for all angles 2 pi / p with p up to 1000 that was found to be, step by step, the very float
 *  that comes from rounding the difference to double first.                                                          */
struct Harmonics {
    Float4 two_cos, v, before;
};

TALV_INLINE Float4 next_point(Harmonics *harmonics) noexcept
{
    const Float4 v = harmonics->v;
    harmonics->v = multiply_subtract_two(harmonics->two_cos, v, harmonics->before);
    harmonics->before = v;
    return v;
}

/** `count` polynomials, their coefficients widened, and where the next four values of each go */
template <int count>
struct Polynomials {
    Wide4 coef[count][POLY_TERMS];
    Complex *out[count];
};

/** The polynomials at the conjugates of the next four harmonics: (sum poly[j] cos(j phi), -sum poly[j] sin(j phi)) */
template <int count>
TALV_INLINE void evaluate_four(const Polynomials<count> &polys, Harmonics *harmonics) noexcept
{
    const Float4 p0 = next_point(harmonics), p1 = next_point(harmonics);
    const Float4 p2 = next_point(harmonics), p3 = next_point(harmonics);
    const Float4 p01 = interleave_low(p0, p1), p23 = interleave_low(p2, p3);
    const Float4 cosines = low_halves(p01, p23);
    const FloatLanes two_cos = float_lanes(cosines + cosines);
    FloatLanes c = float_lanes(cosines), c_before = float_lanes(Float4{1.0f, 1.0f, 1.0f, 1.0f});
    FloatLanes s = float_lanes(high_halves(p01, p23)), s_before = float_lanes(Float4{});
    Wide4 re[count], im[count];
    for (int i = 0; i < count; i++) {
        re[i] = polys.coef[i][0];
        im[i] = Wide4{};
    }
    TALV_UNROLL
    for (int j = 1; j < POLY_TERMS; j++) {
        const Wide4 wide_c = widened(c), wide_s = widened(s);
        for (int i = 0; i < count; i++) {
            re[i] = add_exact(re[i], polys.coef[i][j], wide_c);
            im[i] = subtract_exact(im[i], polys.coef[i][j], wide_s);
        }
        const FloatLanes c_next = multiply_subtract(two_cos, c, c_before);
        const FloatLanes s_next = multiply_subtract(two_cos, s, s_before);
        c_before = c;
        c = c_next;
        s_before = s;
        s = s_next;
    }
    for (int i = 0; i < count; i++) {
        const Float4 out_re = narrowed(re[i]), out_im = narrowed(im[i]);
        store4(&polys.out[i][0].re, interleave_low(out_re, out_im));
        store4(&polys.out[i][2].re, interleave_high(out_re, out_im));
    }
}

/** lpc_spectrum for one or more polynomials, in which the cosines and sines are common */
template <int count>
TALV_INLINE void spectra(const float *const (&poly)[count], int terms, int p, Complex *const (&out)[count]) noexcept
{
    Polynomials<count> polys;
    for (int i = 0; i < count; i++) {
        wide_t sum = 0;
        for (int j = 0; j < POLY_TERMS; j++) {
            const wide_t v = j < terms ? wide(poly[i][j]) : 0;
            polys.coef[i][j] = broadcast(v);
            sum += v;
        }
        out[i][0] = {rounded(sum), 0.0f};
    }

    const int h = p / 2;
    const Complex first = first_harmonics[p - LAG_MIN];
    const float two_cos = 2.0f * first.re;
    Harmonics harmonics = {{two_cos, two_cos}, {first.re, first.im}, {1.0f, 0.0f}};
    for (int k = 1; k <= h; k += LANES) {
        Complex last[count][LANES];
        const bool whole = k + LANES <= h + 1;
        for (int i = 0; i < count; i++)
            polys.out[i] = whole ? out[i] + k : last[i];
        evaluate_four(polys, &harmonics);
        if (!whole)
            for (int i = 0; i < count; i++)
                for (int l = 0; k + l <= h; l++)
                    out[i][k + l] = last[i][l];
    }
}

} // namespace

void lpc_spectrum(const float *poly, int terms, int p, Complex *out) noexcept
{
    spectra<1>({poly}, terms, p, {out});
}

void lpc_spectrum_two(const float *poly0, const float *poly1, int terms, int p, Complex *out0, Complex *out1) noexcept
{
    spectra<2>({poly0, poly1}, terms, p, {out0, out1});
}

} // namespace talv::inline TALV_TARGET
