#include "search/loudness.h"

#include "dsp/table.h"
#include "dsp/trig.h"
#include "dsp/wide.h"
#include "search/window_fft.h"

namespace talv::inline TALV_TARGET
{

namespace
{

static_assert(WINDOW_LEN == SPECTRUM_POINTS);

/* Hann window, the same from either end */
constexpr Table<float, WINDOW_LEN> make_window() noexcept
{
    Table<float, WINDOW_LEN> table{};
    for (int n = 0; n < WINDOW_LEN; n++)
        table.entry[n] = static_cast<float>(0.5 - 0.5 * cos_wide(PI * (2 * n + 1) / WINDOW_LEN));
    return table;
}
constexpr Table<float, WINDOW_LEN> window = make_window();

/* Bands. Their edges and centres are evenly spaced in mel = 2595 log10(1 + f/700), so that 700 + f grows by the same
 * factor from each to the next: the 41st root of (700 + 3950)/(700 + 40). */
constexpr double LOWEST_HZ = 40.0, MEL_HZ = 700.0;
constexpr double MEL_FACTOR = 1.045848578761059;
constexpr double BIN_HZ = 8000.0 / SPECTRUM_POINTS;
constexpr int BAND_BINS_MAX = 16;

struct Band {
    int first, count;            /* bins */
    float weight[BAND_BINS_MAX]; /* 1 at the centre, 0 at the neighbours' centres */
};

constexpr double band_weight(double hz, double low, double centre, double high) noexcept
{
    if (hz <= low || hz >= high)
        return 0.0;
    return hz < centre ? (hz - low) / (centre - low) : (high - hz) / (high - centre);
}

constexpr Table<Band, BANDS> make_bands() noexcept
{
    Table<Band, BANDS> table{};
    double low = LOWEST_HZ + MEL_HZ;
    for (Band &band : table.entry) {
        const double centre = low * MEL_FACTOR, high = centre * MEL_FACTOR;
        for (int k = 0; k < SPECTRUM_BINS; k++) {
            const double weight = band_weight(k * BIN_HZ, low - MEL_HZ, centre - MEL_HZ, high - MEL_HZ);
            if (weight <= 0.0)
                continue;
            if (band.count == 0)
                band.first = k;
            band.weight[band.count++] = static_cast<float>(weight);
        }
        low = centre;
    }
    return table;
}
constexpr Table<Band, BANDS> bands = make_bands();
static_assert(bands.entry[0].count > 0 && bands.entry[1].count > 0); /* the narrowest hold at least a bin */

/* Band power that counts as silence: that of white noise of an RMS of 0.7, a step of the PCM */
constexpr float SILENT_POWER = 50.0f;

} // namespace

void frame_loudness(const float *x, Loudness *out) noexcept
{
    Float4 samples[SPECTRUM_POINTS], power[SPECTRUM_BINS];
    const float *from = x - WINDOW_PAST;
    for (int n = 0; n < WINDOW_LEN; n += LANES) {
        Float4 block[LANES] = {load4(from + n), load4(from + n + WINDOW_STEP), load4(from + n + 2 * WINDOW_STEP),
                               load4(from + n + 3 * WINDOW_STEP)};
        transpose(block);
        for (int i = 0; i < LANES; i++)
            samples[n + i] = block[i] * window.entry[n + i];
    }
    power_spectra(samples, power);
    for (int b = 0; b < BANDS; b++) {
        const Band &band = bands.entry[b];
        Float4 sum = Float4{} + SILENT_POWER;
        for (int i = 0; i < band.count; i++)
            sum += power[band.first + i] * band.weight[i];
        const Float4 eighth = square_root(square_root(square_root(sum)));
        out->band[b] = eighth * square_root(square_root(eighth)); /* 4/32 + 1/32 */
    }
}

Float4 loudness_distance(const Loudness *a, const Loudness *b) noexcept
{
    Float4 sum{};
    for (int i = 0; i < BANDS; i++) {
        const Float4 d = a->band[i] - b->band[i];
        sum += d * d;
    }
    return sum;
}

Float4 total_loudness(const Loudness *a) noexcept
{
    Float4 sum{};
    for (const Float4 &band : a->band)
        sum += band;
    return sum;
}

} // namespace talv::inline TALV_TARGET
