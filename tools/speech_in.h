/** Any audio as the codec takes it: one channel of 16-bit samples at 8 kHz */
#ifndef TALV_TOOLS_SPEECH_IN_H
#define TALV_TOOLS_SPEECH_IN_H

#include "audio_in.h"

#include <cstdint>
#include <memory>
#include <soxr.h>
#include <vector>

namespace talv
{

class SpeechIn
{
public:
    /** Open; path and raw as in AudioIn
     *  throws   Failure
     */
    SpeechIn(const std::string &path, const std::optional<RawFormat> &raw);

    const std::string &name() const { return audio_.name(); }

    /** Length in samples at 8 kHz, rounded to the nearest; -1 when it is not known */
    int64_t length() const;

    /** Read samples
     *  pcm      O   [n]
     *  return       samples read: fewer than n at the end alone
     */
    size_t read(int16_t *pcm, size_t n);

private:
    void pull();

    struct Delete {
        void operator()(soxr_t soxr) const { soxr_delete(soxr); }
    };

    AudioIn audio_;
    std::unique_ptr<struct soxr, Delete> soxr_; /* none when the input is at 8 kHz already */
    std::vector<float> in_, out_;               /* full scale -1..1                        */
    std::vector<int16_t> ready_;
    bool ended_ = false;
};

/** The whole of a recording: for drawing */
std::vector<int16_t> load_speech(const std::string &path, const std::optional<RawFormat> &raw);

} // namespace talv

#endif
