/** What the tool does: one routine a command, each throwing Failure */
#ifndef TALV_TOOLS_COMMANDS_H
#define TALV_TOOLS_COMMANDS_H

#include "batch.h"
#include "channel.h"
#include "coded_out.h"
#include "speech_in.h"

#include <optional>
#include <string>
#include <vector>

namespace talv
{

struct EncodeJob {
    BatchOptions batch;
    SpeechOptions speech;
    CodedFormat format;
    int effort = 0;                    /* 0: the plain encoder; 1 to 5: a search (talvsearch.h)      */
    std::vector<std::string> comments; /* NAME=value                                                */
};

struct DecodeJob {
    BatchOptions batch;
    bool raw = false;                 /* bare samples, whatever the ending                          */
    std::string format = "wav";       /* of the outputs in a folder                                 */
    double start_s = 0;               /* first moment                                               */
    std::optional<double> duration_s; /* none: to the end                                           */
    ChannelModel channel;
};

struct ConvertJob {
    std::string in, out;
    SpeechOptions speech;
};

struct InfoJob {
    std::vector<std::string> names;
    bool json = false;
};

struct FramesJob {
    std::string in, out;
    std::string format; /* "csv" or "jsonl"; empty: by the ending, else CSV                 */
    CodedFormat coded;  /* of frames that are made from lines                               */
};

struct PlotJob {
    std::vector<std::string> names; /* [ORIGINAL] DECODED OUT                                   */
    std::string title;              /* none: a standing one                                     */
    double from_s = 0;              /* first moment shown                                       */
    std::optional<double> to_s;     /* last one; none: the end of the longer recording          */
};

/** Speech to frames
 *
 *  The frame that an encode call returns describes the block given two calls before, so two blocks of zeros follow the
 *  last one. In Ogg the first two frames, which describe the silence before the beginning, are the pre-skip, and the
 *  stream's end is told to the sample. Bare frames leave them out: frame k is block k of the input, the last of which
 *  is filled up with zeros.
 */
Status encode_command(const EncodeJob &job);

/** Frames to speech. Lost and damaged frames are replaced (talvhost.h), so that time is kept. */
Status decode_command(const DecodeJob &job);

/** A recording as the codec is given it: 8 kHz, mono, 16 bits. To be compared with what comes back. */
void convert_command(const ConvertJob &job);

/** Length, size, comments, damage, and what the frames say of pitch, voicing and level */
Status info_command(const InfoJob &job);

/** The fields of the frames as lines of text, or frames from such lines; which of the two, the input tells */
void frames_command(const FramesJob &job);

/** Waveforms and spectrograms of one or two recordings, and the tracks of a coded one, as PNG or SVG */
void plot_command(const PlotJob &job);

} // namespace talv

#endif
