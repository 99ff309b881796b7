/** The A/B picture: waveform and spectrogram of two recordings on one time axis */
#ifndef TALV_TOOLS_PLOT_H
#define TALV_TOOLS_PLOT_H

#include <cstdint>
#include <string>
#include <vector>

namespace talv
{

struct PlotTrack {
    std::string letter, name; /* as in "A", "original: in.wav" */
    std::vector<int16_t> x;   /* 8 kHz                         */
};

/** Draw
 *  title          the line above the picture
 *  tracks         one above the other; the scales of level and amplitude are common
 *  from_s, to_s   the stretch shown, from_s < to_s
 *  return         a PNG file
 */
std::vector<uint8_t> draw_plot(const std::string &title, const std::vector<PlotTrack> &tracks, double from_s,
                               double to_s);

} // namespace talv

#endif
