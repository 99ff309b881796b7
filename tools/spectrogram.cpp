#include "spectrogram.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>

namespace talv
{
namespace
{

using Cycle = std::array<std::complex<float>, SPECTRUM_SIZE>;

/* Hann window, scaled so that a sine of amplitude 1 has magnitude 1 in its bin: the window's sum is half its length. */
std::array<float, SPECTRUM_WINDOW> window()
{
    std::array<float, SPECTRUM_WINDOW> w{};
    for (size_t i = 0; i < w.size(); i++) {
        const double phase = 2 * std::numbers::pi * (static_cast<double>(i) + 0.5) / SPECTRUM_WINDOW;
        w[i] = static_cast<float>((0.5 - 0.5 * std::cos(phase)) * 4 / SPECTRUM_WINDOW);
    }
    return w;
}

Cycle roots_of_unity()
{
    Cycle w{};
    for (size_t i = 0; i < w.size(); i++)
        w[i] = std::polar(1.0f, -2 * std::numbers::pi_v<float> * static_cast<float>(i) / SPECTRUM_SIZE);
    return w;
}

/* Radix-2 transform in place: Cooley and Tukey, Math. Comp. 19, 1965. */
void transform(Cycle &x, const Cycle &roots)
{
    for (size_t i = 1, j = 0; i < x.size(); i++) {
        size_t bit = x.size() / 2;
        for (; j & bit; bit /= 2)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(x[i], x[j]);
    }
    for (size_t half = 1; half < x.size(); half *= 2) {
        const size_t step = x.size() / (2 * half);
        for (size_t block = 0; block < x.size(); block += 2 * half) {
            for (size_t k = 0; k < half; k++) {
                const std::complex<float> odd = x[block + half + k] * roots[k * step];
                x[block + half + k] = x[block + k] - odd;
                x[block + k] += odd;
            }
        }
    }
}

} // namespace

Spectrogram spectrogram(const int16_t *x, size_t n, double from, double to, int columns)
{
    const auto w = window();
    const Cycle roots = roots_of_unity();
    const double width = (to - from) / columns;
    const int looks = std::max(1, static_cast<int>(std::ceil(width / (SPECTRUM_WINDOW / 4.0))));
    const auto count = static_cast<int64_t>(n);

    Spectrogram s;
    s.columns = columns;
    s.level_db.reserve(static_cast<size_t>(columns) * SPECTRUM_BINS);
    for (int c = 0; c < columns; c++) {
        std::array<float, SPECTRUM_BINS> power{};
        for (int look = 0; look < looks; look++) {
            const double centre = from + width * (c + (look + 0.5) / looks);
            const auto start = static_cast<int64_t>(std::floor(centre)) - SPECTRUM_WINDOW / 2;
            Cycle y{};
            for (int64_t i = 0; i < SPECTRUM_WINDOW; i++) {
                const int64_t at = start + i;
                if (at >= 0 && at < count)
                    y[static_cast<size_t>(i)] = w[static_cast<size_t>(i)] * static_cast<float>(x[at]) / 32768.0f;
            }
            transform(y, roots);
            for (size_t b = 0; b < power.size(); b++)
                power[b] += std::norm(y[b]);
        }
        for (const float p : power)
            s.level_db.push_back(std::max(SPECTRUM_FLOOR_DB, 10 * std::log10(p / static_cast<float>(looks) + 1e-20f)));
    }
    return s;
}

} // namespace talv
