/** Audio of any format and rate, as one channel of floats
 *
 *  Everything that libsndfile reads: WAV, FLAC, Ogg, MP3, AIFF and more; or samples without a header. From a pipe, WAV
 *  and headerless samples are read as they come; another format is first read to its end.
 */
#ifndef TALV_TOOLS_AUDIO_IN_H
#define TALV_TOOLS_AUDIO_IN_H

#include "failure.h"
#include "input_file.h"

#include <exception>
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
     *  channel  the one to take, from 1 on; 0: their mean
     *  throws   Failure
     */
    AudioIn(const std::string &path, const std::optional<RawFormat> &raw, int channel = 0);
    ~AudioIn();
    AudioIn(const AudioIn &) = delete;
    AudioIn &operator=(const AudioIn &) = delete;

    const std::string &name() const { return in_.name(); }
    int rate_hz() const { return info_.samplerate; }

    /** Length in samples of one channel; -1 when it is not known */
    int64_t length() const { return length_; }

    /** Read samples, full scale being -1..1
     *  x        O   [n]
     *  return       samples read: fewer than n at the end, or before a fault
     */
    size_t read(float *x, size_t n);

    /** All is read: was it all?
     *  throws       Failure when the file is damaged, or ends before its header says; Interrupted
     */
    void finish() const;

    /** A text of the header: SF_STR_TITLE and its like; empty when there is none */
    std::string text(int kind) const;

private:
    void open_stream();
    void check_length();
    void drain();
    Failure format_failure() const;
    SF_VIRTUAL_IO stream_io();

    InputFile in_;
    SF_INFO info_{};
    SNDFILE *file_ = nullptr;
    int64_t length_ = -1;
    int64_t left_ = -1;     /* samples before what follows them in a pipe; -1: nothing follows     */
    int64_t promised_ = -1; /* samples that a file's header speaks of, where that can be relied on */
    int64_t count_ = 0;     /* samples read                                                        */
    int64_t taken_ = 0;     /* bytes read from a pipe                                              */
    int channel_;
    std::exception_ptr fault_; /* of a read from within libsndfile                                  */
    std::vector<float> interleaved_;
};

} // namespace talv

#endif
