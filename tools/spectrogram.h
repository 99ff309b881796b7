/** Short-time spectra of 8 kHz speech, one for each column of a picture */
#ifndef TALV_TOOLS_SPECTROGRAM_H
#define TALV_TOOLS_SPECTROGRAM_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talv
{

inline constexpr int SPECTRUM_WINDOW = 256; /* samples: 32 ms, enough to part the harmonics of a voice   */
inline constexpr int SPECTRUM_SIZE = 512;   /* the window padded with zeros: a bin is 15.6 Hz            */
inline constexpr int SPECTRUM_BINS = SPECTRUM_SIZE / 2 + 1;
inline constexpr float SPECTRUM_FLOOR_DB = -140.0f; /* of digital silence                                */

struct Spectrogram {
    int columns = 0;
    std::vector<float> level_db; /* [columns][SPECTRUM_BINS], 0 to 4000 Hz; a full-scale sine is 0 dB    */

    float at(int column, int bin) const
    {
        return level_db[static_cast<size_t>(column) * SPECTRUM_BINS + static_cast<size_t>(bin)];
    }
};

/** Compute
 *  x        I   [n]     16-bit samples; silence is taken for what lies outside
 *  from, to             the stretch of samples that the columns divide evenly; may begin before x and end after it
 *  columns              at least 1. A column wider than the window's quarter shows the mean power of its stretch.
 */
Spectrogram spectrogram(const int16_t *x, size_t n, double from, double to, int columns);

} // namespace talv

#endif
