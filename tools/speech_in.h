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

/** What is taken of a recording, and how loud */
struct SpeechOptions {
    std::optional<RawFormat> raw;     /* none: the header tells the format         */
    int channel = 0;                  /* from 1 on; 0: the mean of all             */
    double start_s = 0;               /* first moment                              */
    std::optional<double> duration_s; /* none: to the end                          */
    double gain_db = 0;
    bool normalize = false; /* to NORMAL_DBOV where there is speech      */
};

inline constexpr double NORMAL_DBOV = -26; /* the level at which codecs are tested: ITU-T P.830, 8.1.2.2 */

class SpeechIn
{
public:
    /** Open. To be normalized, the recording is read to its end first.
     *  throws   Failure
     */
    SpeechIn(const std::string &path, const SpeechOptions &options);

    const std::string &name() const { return audio_.name(); }
    int original_hz() const { return audio_.rate_hz(); }

    /** Comments of the header in the Vorbis form, as in "TITLE=Speech" */
    std::vector<std::string> comments() const;

    /** Length in samples at 8 kHz, rounded to the nearest; -1 when it is not known */
    int64_t length() const;

    /** Read samples
     *  pcm      O   [n]
     *  return       samples read: fewer than n at the end alone
     */
    size_t read(int16_t *pcm, size_t n);

private:
    void pull();
    void normalize();
    void open_resampler(int rate);

    struct Delete {
        void operator()(soxr_t soxr) const { soxr_delete(soxr); }
    };

    AudioIn audio_;
    std::unique_ptr<struct soxr, Delete> soxr_; /* none when the input is at 8 kHz already */
    std::vector<float> in_, out_;               /* full scale -1..1                        */
    std::vector<float> ready_;                  /* at 8 kHz                                */
    size_t used_ = 0;                           /* of ready_                               */
    int64_t skip_ = 0, left_ = -1;              /* input samples to leave out, and to take; -1: all */
    float gain_ = 1;
    bool ended_ = false;
};

/** The whole of a recording: for drawing */
std::vector<int16_t> load_speech(const std::string &path, const std::optional<RawFormat> &raw);

} // namespace talv

#endif
