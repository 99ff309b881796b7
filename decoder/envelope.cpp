#include "decoder/envelope.h"

#include "dsp/simd_float.h"
#include "dsp/table.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

#include <algorithm>

namespace talv::inline TALV_TABLES
{

inline constexpr int LAG_COUNT = LAG_MAX_FRAME - LAG_MIN + 1;

extern const Table<Complex, LAG_COUNT> first_harmonics; /* (cos theta, sin theta), theta = 2 pi / p, for every lag p */

#ifdef TALV_HAS_TABLES

namespace
{

constexpr double TWO_PI = 6.283185307;

/** (cos theta, sin theta), theta = 2 pi / p */
constexpr Complex first_harmonic(int p) noexcept
{
    const float theta = rounded(TWO_PI / p);
    return {rounded(cos_wide(static_cast<double>(theta))), rounded(sin_wide(static_cast<double>(theta)))};
}

constexpr Table<Complex, LAG_COUNT> make_first_harmonics() noexcept
{
    Table<Complex, LAG_COUNT> table{};
    for (int i = 0; i < LAG_COUNT; i++)
        table.entry[i] = first_harmonic(LAG_MIN + i);
    return table;
}

} // namespace

constexpr Table<Complex, LAG_COUNT> first_harmonics = make_first_harmonics();

#endif

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

void tilted_poly(const float *lpc, float c1, float c2, float *poly) noexcept
{
    /* Every term reads those of the LPC vector at and just below its place. What lies beyond either end is 0, which
     * changes no sum that it enters. */
    static_assert(POLY_TERMS == 1 + 3 * LANES && LPC_ORDER == 2 * LANES + 2);
    constexpr float NOTHING[2] = {};
    const Float4 terms[] = {load4(lpc), load4(lpc + LANES), load_pairs(lpc + 2 * LANES, NOTHING)};
    const Wide4 C1 = broadcast(wide(c1)), C2 = broadcast(wide(c2));
    Float4 before = {0.0f, 0.0f, 0.0f, 1.0f};
    poly[0] = 1.0f;
    for (int g = 0; g < 3; g++) {
        const Float4 x = terms[g];
        store_rounded(poly + 1 + LANES * g,
                      add_exact(C2 * widened(last_two_and_two(before, x)), C1, widened(last_and_three(before, x))) +
                          widened(x));
        before = x;
    }
}

namespace
{

/** (cos k theta, sin k theta), walking over k. Both obey v(k+1) = 2 cos(theta) v(k) - v(k-1), and so do the cosines and
 *  sines of the multiples of each angle k theta in polynomials_at(). A fused operation does such a
 *  step in one rounding; for all angles 2 pi / p with p up to 1000 that was found to be, step by step, the very float
 *  that comes from rounding the difference to double first.                                                          */
struct Harmonics {
    FloatPair two_cos, v, before;
};

/** The points of the next four harmonics */
TALV_INLINE void next_points(Harmonics *harmonics, FloatPair (&p)[LANES]) noexcept
{
    static_assert(LANES % SIGN_TURNS == 0);
    TALV_UNROLL
    for (int i = 0; i < LANES; i++) {
        const FloatPair v = harmonics->v;
        p[i] = sign_turned(i + 1) ? -v : v;
        harmonics->v = next_value(i + 1, harmonics->two_cos, v, harmonics->before);
        harmonics->before = v;
    }
}

/** `count` polynomials at the conjugates of the next four harmonics: (sum poly[j] cos(j phi), -sum poly[j] sin(j phi))
 *  coef  I  [POLY_TERMS][count]
 *  k     I                       the first of the four harmonics                                                   */
template <int count>
TALV_INLINE void polynomials_at(const Repeated (&coef)[POLY_TERMS][count], Harmonics *harmonics, int k,
                                Spectrum *const (&out)[count]) noexcept
{
    FloatPair p[LANES];
    next_points(harmonics, p);
    FloatLanes c = first_of(p[0], p[1], p[2], p[3]), c_before = float_lanes(Float4{1.0f, 1.0f, 1.0f, 1.0f});
    FloatLanes s = second_of(p[0], p[1], p[2], p[3]), s_before = float_lanes(Float4{});
    const FloatLanes two_cos = doubled(c);
    Wide4 re[count], im[count];
    for (int i = 0; i < count; i++) {
        re[i] = all_lanes(coef[0][i]);
        im[i] = Wide4{};
    }
    const auto add_term = [&](int j, int turn) noexcept {
        const Wide4 wide_c = widened(c), wide_s = widened(s);
        TALV_UNROLL
        for (int i = 0; i < count; i++) {
            const Repeated x = coef[j][i];
            re[i] = sign_turned(turn) ? subtract_exact(re[i], x, wide_c) : add_exact(re[i], x, wide_c);
            im[i] = sign_turned(turn) ? add_exact(im[i], x, wide_s) : subtract_exact(im[i], x, wide_s);
        }
        const FloatLanes c_next = next_value(turn, two_cos, c, c_before);
        const FloatLanes s_next = next_value(turn, two_cos, s, s_before);
        c_before = c;
        c = c_next;
        s_before = s;
        s = s_next;
    };
    static_assert((POLY_TERMS - 1) % SIGN_TURNS == 0);
    if constexpr (2 * count <= SUMS_IN_REGISTERS) {
        TALV_UNROLL
        for (int j = 1; j < POLY_TERMS; j++)
            add_term(j, j);
    } else {
        TALV_NO_UNROLL
        for (int j = 1; j < POLY_TERMS; j += SIGN_TURNS) {
            TALV_UNROLL
            for (int turn = 0; turn < SIGN_TURNS; turn++)
                add_term(j + turn, 1 + turn);
        }
    }
    TALV_UNROLL
    for (int i = 0; i < count; i++) {
        Spectrum *const spec = out[i]; /* what is stored may lie anywhere, as far as the compiler knows */
        store_rounded(spec->re + k, re[i]);
        store_rounded(spec->im + k, im[i]);
    }
}

/** lpc_spectra for just so many polynomials */
template <int count>
[[gnu::noinline]] void spectra(const float *const (&poly)[count], int p, Spectrum *const (&out)[count]) noexcept
{
    Repeated coef[POLY_TERMS][count];
    for (int i = 0; i < count; i++) {
        wide_t sum = 0;
        for (int j = 0; j < POLY_TERMS; j++) {
            coef[j][i] = repeated(wide(poly[i][j]));
            sum += wide(poly[i][j]);
        }
        out[i]->re[0] = rounded(sum);
        out[i]->im[0] = 0.0f;
    }
    const Complex first = first_harmonics[p - LAG_MIN];
    const float two_cos = 2.0f * first.re;
    Harmonics harmonics = {float_pair(two_cos, two_cos), float_pair(first.re, first.im), float_pair(1.0f, 0.0f)};
    for (int k = 1; k <= p / 2; k += LANES)
        polynomials_at(coef, &harmonics, k, out);
}

} // namespace

void lpc_spectrum(const float *poly, int terms, int p, Spectrum *out) noexcept
{
    float padded[1][POLY_TERMS] = {};
    for (int j = 0; j < terms; j++)
        padded[0][j] = poly[j];
    lpc_spectra(padded, 1, p, &out);
}

void lpc_spectra(const float (*poly)[POLY_TERMS], int count, int p, Spectrum *const *out) noexcept
{
    if (count == 1) {
        spectra<1>({poly[0]}, p, {out[0]});
    } else if (count == 2) {
        spectra<2>({poly[0], poly[1]}, p, {out[0], out[1]});
    } else { /* of three the last one twice */
        const int last = count - 1;
        spectra<SPECTRA_MAX>({poly[0], poly[1], poly[2], poly[last]}, p, {out[0], out[1], out[2], out[last]});
    }
}

} // namespace talv::inline TALV_TARGET
