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

/* e^(-2 pi i k / 256) = cosine - i sine */
constexpr Table<float, POINTS> make_cosines() noexcept
{
    Table<float, POINTS> table{};
    for (int k = 0; k < POINTS; k++)
        table.entry[k] = rounded(cos_wide(3.14159265358979323846 * k / POINTS));
    return table;
}
constexpr Table<float, POINTS> make_sines() noexcept
{
    Table<float, POINTS> table{};
    for (int k = 0; k < POINTS; k++)
        table.entry[k] = rounded(sin_wide(3.14159265358979323846 * k / POINTS));
    return table;
}
constexpr Table<float, POINTS> cosines = make_cosines();
constexpr Table<float, POINTS> sines = make_sines();

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

/** One stage: butterflies of elements `half` apart */
TALV_INLINE void stage(Float4 *z, int half) noexcept
{
    const int stride = SPECTRUM_POINTS / (2 * half);
    for (int j = 0; j < half; j++) {
        const float c = cosines.entry[j * stride], s = sines.entry[j * stride];
        for (int from = j; from < POINTS; from += 2 * half) {
            Float4 *a = z + 2 * from, *b = z + 2 * (from + half);
            const Float4 re = a[0] - b[0], im = a[1] - b[1];
            a[0] += b[0];
            a[1] += b[1];
            b[0] = re * c + im * s;
            b[1] = im * c - re * s;
        }
    }
}

} // namespace

void power_spectra(Float4 *x, Float4 *power) noexcept
{
    /* Even samples are the real, odd ones the imaginary parts. */
    for (int half = POINTS / 2; half >= 1; half /= 2)
        stage(x, half);

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
