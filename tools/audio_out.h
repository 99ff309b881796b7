/** Decoded speech: 16 bits, mono, 8 kHz, as WAV, FLAC or bare samples */
#ifndef TALV_TOOLS_AUDIO_OUT_H
#define TALV_TOOLS_AUDIO_OUT_H

#include "atomic_file.h"
#include "failure.h"

#include <cstdint>
#include <sndfile.h>
#include <string>

namespace talv
{

class AudioOut
{
public:
    enum class Format { wav, flac, bare };

    /** Open
     *  path     its ending tells the format: .wav, .flac, .raw; "-", pipes and devices are WAV
     *  raw      little-endian samples without a header, whatever the ending
     *  length   samples to come, if known, else -1: for the header of WAV on a pipe
     *  throws   Failure
     */
    AudioOut(const std::string &path, bool raw, int64_t length);
    ~AudioOut();
    AudioOut(const AudioOut &) = delete;
    AudioOut &operator=(const AudioOut &) = delete;

    /** Append samples
     *  pcm      I   [n]
     *  n            at most TALV_FRAME_SAMPLES
     */
    void write(const int16_t *pcm, size_t n);

    /** The output is complete */
    void commit();

    /** After a failed write: make a valid shorter file of what has reached it; false when that cannot be done */
    bool salvage();

    const std::string &name() const { return file_.name(); }
    int64_t count() const { return count_; }

private:
    Failure flac_failure(const char *text) const;

    AtomicFile file_;
    Format format_;
    SNDFILE *encoder_ = nullptr; /* FLAC only                */
    int64_t count_ = 0;          /* samples written          */
};

} // namespace talv

#endif
