/** Coded speech: bare 8-byte frames, one after another */
#ifndef TALV_TOOLS_FRAMES_IN_H
#define TALV_TOOLS_FRAMES_IN_H

#include "input_file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talv
{

class FramesIn
{
public:
    /** Open a coded file, or "-" for standard input
     *  throws   Failure; also when a file is not made of whole frames, or is WAV or FLAC
     */
    explicit FramesIn(const std::string &path);

    const std::string &name() const { return in_.name(); }

    /** Number of frames; -1 when it is not known */
    int64_t length() const { return length_; }

    /** Read one frame
     *  frame    O   [TALV_FRAME_BYTES]
     *  return       false at the end
     *  throws       Failure when the input ends within a frame
     */
    bool read(uint8_t *frame);

private:
    InputFile in_;
    int64_t length_;
    int64_t count_ = 0;
};

/** Decode the whole of a coded file: for drawing */
std::vector<int16_t> load_decoded(const std::string &path);

} // namespace talv

#endif
