/** The picture: waveform and spectrogram of one or two recordings and the tracks of the coded one, on one time axis */
#ifndef TALV_TOOLS_PLOT_H
#define TALV_TOOLS_PLOT_H

#include <cstdint>
#include <string>
#include <talvhost.h>
#include <vector>

namespace talv
{

struct PlotTrack {
    std::string letter, name; /* as in "A", "original: in.wav" */
    std::vector<int16_t> x;   /* 8 kHz                         */
};

/** What the frames of a coded file say, frame by frame */
struct CodedTrack {
    struct Frame {
        int64_t at; /* its first sample's place in the recording */
        bool lost;
        TALV_FrameSound sound;
    };
    std::vector<Frame> frames;
};

/** Draw
 *  svg            an SVG file, else PNG
 *  title          the line above the picture
 *  tracks         one above the other; the scales of level and amplitude are common
 *  coded          drawn below them: pitch, voicing, gain and LSFs; no frames: nothing is
 *  from_s, to_s   the stretch shown, from_s < to_s
 *  return         the file
 */
std::vector<uint8_t> draw_plot(bool svg, const std::string &title, const std::vector<PlotTrack> &tracks,
                               const CodedTrack &coded, double from_s, double to_s);

} // namespace talv

#endif
