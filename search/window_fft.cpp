#include "search/window_fft.h"

#include "dsp/table.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int POINTS = SPECTRUM_POINTS / 2; /* of the complex transform */
constexpr int STAGES = 7;
static_assert(1 << STAGES == POINTS);

constexpr int ANGLES = 3 * SPECTRUM_POINTS / 4; /* the largest asked for is 3 * 31 * 2 */

/* e^(-2 pi i k / 256) = cosine - i sine */
constexpr Table<float, ANGLES> make_cosines() noexcept
{
    Table<float, ANGLES> table{};
    for (int k = 0; k < ANGLES; k++)
        table.entry[k] = rounded(cos_wide(PI * k / POINTS));
    return table;
}
constexpr Table<float, ANGLES> make_sines() noexcept
{
    Table<float, ANGLES> table{};
    for (int k = 0; k < ANGLES; k++)
        table.entry[k] = rounded(sin_wide(PI * k / POINTS));
    return table;
}
constexpr Table<float, ANGLES> cosines = make_cosines();
constexpr Table<float, ANGLES> sines = make_sines();

constexpr Table<uint8_t, POINTS> make_reversal() noexcept
{
    Table<uint8_t, POINTS> table{};
    for (int k = 0; k < POINTS; k++) {
        int reversed = 0;
        for (int bit = 0; bit < STAGES; bit++)
            reversed |= (k >> bit & 1) << (STAGES - 1 - bit);
        table.entry[k] = static_cast<uint8_t>(reversed);
    }
    return table;
}
constexpr Table<uint8_t, POINTS> reversal = make_reversal();

/** A complex value of four transforms */
struct Complex4 {
    Float4 re, im;
};

TALV_INLINE Complex4 operator+(Complex4 x, Complex4 y) noexcept
{
    return {x.re + y.re, x.im + y.im};
}
TALV_INLINE Complex4 operator-(Complex4 x, Complex4 y) noexcept
{
    return {x.re - y.re, x.im - y.im};
}

/** x e^(-2 pi i k / 256) */
TALV_INLINE Complex4 turned(Complex4 x, int k) noexcept
{
    const float c = cosines.entry[k], s = sines.entry[k];
    return {x.re * c + x.im * s, x.im * c - x.re * s};
}

TALV_INLINE Complex4 load(const Float4 *z) noexcept
{
    return {z[0], z[1]};
}
TALV_INLINE void store(Float4 *z, Complex4 x) noexcept
{
    z[0] = x.re;
    z[1] = x.im;
}

/** Two stages at once: butterflies of elements `quarter`, twice and three times that apart. Element j + quarter
 *  receives what two single stages would leave there, so that the order at the end is that of reversed bits.        */
TALV_INLINE void two_stages(Float4 *z, int quarter) noexcept
{
    const int stride = SPECTRUM_POINTS / (4 * quarter);
    for (int from = 0; from < POINTS; from += 4 * quarter)
        for (int j = 0; j < quarter; j++) {
            Float4 *a = z + 2 * (from + j), *b = a + 2 * quarter, *c = b + 2 * quarter, *d = c + 2 * quarter;
            const Complex4 ac = load(a) + load(c), a_c = load(a) - load(c);
            const Complex4 bd = load(b) + load(d), b_d = load(b) - load(d);
            const Complex4 side = {b_d.im, -b_d.re}; /* -i (b - d) */
            store(a, ac + bd);
            store(b, turned(ac - bd, 2 * j * stride));
            store(c, turned(a_c + side, j * stride));
            store(d, turned(a_c - side, 3 * j * stride));
        }
}

/** The last stage: butterflies of neighbours */
TALV_INLINE void last_stage(Float4 *z) noexcept
{
    for (int k = 0; k < POINTS; k += 2) {
        const Complex4 a = load(z + 2 * k), b = load(z + 2 * k + 2);
        store(z + 2 * k, a + b);
        store(z + 2 * k + 2, a - b);
    }
}

} // namespace

void power_spectra(Float4 *x, Float4 *power) noexcept
{
    /* Even samples are the real, odd ones the imaginary parts. */
    two_stages(x, 32);
    two_stages(x, 8);
    two_stages(x, 2);
    last_stage(x);

    power[0] = (x[0] + x[1]) * (x[0] + x[1]);
    for (int k = 1; k <= POINTS / 2; k++) {
        const Float4 *a = x + 2 * reversal.entry[k], *b = x + 2 * reversal.entry[POINTS - k];
        const Float4 even_re = a[0] + b[0], even_im = a[1] - b[1];
        const Float4 odd_re = a[1] + b[1], odd_im = b[0] - a[0];
        const float c = cosines.entry[k], s = sines.entry[k];
        const Float4 turned_re = odd_re * c + odd_im * s, turned_im = odd_im * c - odd_re * s;
        const Float4 re0 = even_re + turned_re, im0 = even_im + turned_im;
        const Float4 re1 = even_re - turned_re, im1 = even_im - turned_im;
        power[k] = (re0 * re0 + im0 * im0) * 0.25f;
        power[POINTS - k] = (re1 * re1 + im1 * im1) * 0.25f;
    }
}

} // namespace talv::inline TALV_TARGET
