/** Short-time spectra of recordings, for comparing what went in with what came out */
#ifndef TALV_TESTS_STREAM_SPECTRUM_H
#define TALV_TESTS_STREAM_SPECTRUM_H

#include <cmath>
#include <cstdint>
#include <vector>

namespace talv::test
{

inline constexpr int BANDS = 16;       /* of 250 Hz, by the DFT bins whose centres lie in them  */
inline constexpr int SPECTRUM_N = 160; /* samples a window, Hann: 20 ms, bins of 50 Hz          */
inline constexpr int BAND_BINS = 5;

/** Levels of the bands in dB, a sine of amplitude 1 in one of them being near 0 dB; 16-bit samples */
struct BandLevels {
    double db[BANDS];
    double mean() const
    {
        double sum = 0.0;
        for (const double v : db)
            sum += v / BANDS;
        return sum;
    }
};

/** The levels of the window that starts at x */
inline BandLevels band_levels(const int16_t *x)
{
    static const std::vector<double> tables =
        [] { /* window, then one period of the cosine */
             std::vector<double> t(2 * SPECTRUM_N);
             for (int i = 0; i < SPECTRUM_N; i++) {
                 t[static_cast<size_t>(i)] =
                     (0.5 - 0.5 * std::cos(2.0 * M_PI * (i + 0.5) / SPECTRUM_N)) * 4.0 / SPECTRUM_N;
                 t[static_cast<size_t>(SPECTRUM_N + i)] = std::cos(2.0 * M_PI * i / SPECTRUM_N);
             }
             return t;
        }();
    const double *window = tables.data(), *cosine = tables.data() + SPECTRUM_N;
    double w[SPECTRUM_N];
    for (int i = 0; i < SPECTRUM_N; i++)
        w[i] = window[i] * x[i];
    BandLevels levels;
    for (int b = 0; b < BANDS; b++) {
        double power = 1e-2; /* -20 dB: less than the rounding to 16 bits */
        for (int bin = b * BAND_BINS + 1; bin <= (b + 1) * BAND_BINS; bin++) {
            double re = 0.0, im = 0.0;
            for (int i = 0, a = 0; i < SPECTRUM_N; i++, a = (a + bin) % SPECTRUM_N) {
                re += w[i] * cosine[a];
                im += w[i] * cosine[(a + SPECTRUM_N / 4) % SPECTRUM_N];
            }
            power += re * re + im * im;
        }
        levels.db[b] = 10.0 * std::log10(power);
    }
    return levels;
}

/** The levels of every window of a signal, `hop` samples apart */
inline std::vector<BandLevels> band_contours(const std::vector<int16_t> &x, int hop)
{
    std::vector<BandLevels> contours;
    for (size_t at = 0; at + SPECTRUM_N <= x.size(); at += static_cast<size_t>(hop))
        contours.push_back(band_levels(x.data() + at));
    return contours;
}

inline double rms(const int16_t *x, size_t n)
{
    double sum = 0.0;
    for (size_t i = 0; i < n; i++)
        sum += static_cast<double>(x[i]) * x[i];
    return n == 0 ? 0.0 : std::sqrt(sum / static_cast<double>(n));
}

} // namespace talv::test

#endif
