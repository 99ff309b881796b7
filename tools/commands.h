/** What the tool does: one routine a command, each throwing Failure */
#ifndef TALV_TOOLS_COMMANDS_H
#define TALV_TOOLS_COMMANDS_H

#include "audio_in.h"

#include <optional>
#include <string>

namespace talv
{

struct CodeJob {
    std::string in, out;  /* names; "-" is a standard stream                          */
    bool raw = false;     /* the audio side has no header                             */
    RawFormat raw_format; /* encode only                                              */
    bool stats = false;   /* report the speed at the end                              */
};

struct PlotJob {
    std::string original, decoded, out; /* the second may be coded frames (.frames)           */
    std::string title;                  /* none: a standing one                               */
    double from_s = 0;                  /* first moment shown                                 */
    std::optional<double> to_s;         /* last one; none: the end of the longer recording    */
};

/** Speech to frames
 *
 *  The frame that an encode call returns describes the block given two calls before. So the first two frames, which
 *  describe the silence before the beginning, are dropped, and two blocks of zeros follow the last one: frame k of the
 *  output is block k of the input, the last of which is filled up with zeros.
 */
void encode_command(const CodeJob &job);

/** Frames to speech: 240 samples for each. A decoder that starts on frame 0 needs no frame before it. */
void decode_command(const CodeJob &job);

/** A recording as the codec is given it: 8 kHz, mono, 16 bits. To be compared with what comes back. */
void convert_command(const CodeJob &job);

/** Waveforms and spectrograms of two recordings, one above the other, as PNG */
void plot_command(const PlotJob &job);

} // namespace talv

#endif
