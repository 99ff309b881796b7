/** Audio of any format and rate, as one channel of floats
 *
 *  Everything that libsndfile reads: WAV, FLAC, Ogg, MP3, AIFF and more; or samples without a header. From a pipe, WAV
 *  and headerless samples are read as they come; another format is first read to its end.
 */
#ifndef TALV_TOOLS_AUDIO_IN_H
#define TALV_TOOLS_AUDIO_IN_H

#include "input_file.h"

#include <optional>
#include <sndfile.h>
#include <string>
#include <vector>

namespace talv
{

/** Headerless input: 16-bit little-endian samples, channels interleaved */
struct RawFormat {
    int rate_hz = 8000;
    int channels = 1;
};

class AudioIn
{
public:
    /** Open
     *  path     a file's name, or "-" for standard input
     *  raw      the format of headerless input; none: the header tells
     *  throws   Failure
     */
    AudioIn(const std::string &path, const std::optional<RawFormat> &raw);
    ~AudioIn();
    AudioIn(const AudioIn &) = delete;
    AudioIn &operator=(const AudioIn &) = delete;

    const std::string &name() const { return in_.name(); }
    int rate_hz() const { return info_.samplerate; }

    /** Length in samples of one channel; -1 when it is not known */
    int64_t length() const { return length_; }

    /** Read samples, the channels averaged, full scale being -1..1
     *  x        O   [n]
     *  return       samples read: fewer than n at the end alone
     *  throws       Failure when the file is damaged
     */
    size_t read(float *x, size_t n);

private:
    void open_stream();
    void drain();

    InputFile in_;
    SF_INFO info_{};
    SNDFILE *file_ = nullptr;
    int64_t length_ = -1;
    int64_t left_ = -1; /* samples before what follows them in a pipe; -1: nothing follows */
    std::vector<float> interleaved_;
};

} // namespace talv

#endif
