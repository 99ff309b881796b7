#include "training/amplitudes.h"

#include "dsp/as_codebook.h"
#include "dsp/fft.h"
#include "encoder/cycle.h"
#include "encoder/encoder.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <sndfile.h>
#include <stdexcept>

namespace talv
{

namespace
{

/* The pivot, position 400 of the histories during a call, lies here after them: they have moved down by a frame. */
constexpr int PIVOT_AFTER = 400 - FRAME_LEN;
constexpr int WINDOW_FROM = PIVOT_AFTER - FRAME_LEN / 2;

static_assert(AS_CODEBOOK_IS_NEUTRAL, "training/neutral must be the first folder that is searched");

constexpr double ACTIVE_MARGIN_DB = 15.9;
constexpr float LEAST_RMS = 10.0f;

/** The amplitude vector of the frame that encoder_analyse has just described */
void recover_amplitudes(const EncoderState &enc, float *amplitude)
{
    float cycle_avg[LAG_MAX + 3], spline_coef[LAG_MAX + 3], cycle_128[FFT_MAX];
    Complex cycle_fft[FFT_MAX / 2 + 1];
    const int pitch = enc.pitch_hist[0]; /* the settled lag */
    const int periods = FRAME_LEN / pitch;
    cycle_fold(pitch, periods, enc.res_hist + PIVOT_AFTER - periods * pitch / 2, cycle_avg + 1);
    cycle_resample(pitch, cycle_avg + 1, spline_coef + 1, FFT_MAX, cycle_128);
    real_fft(cycle_128, cycle_fft, FFT_MAX, FFT_MAX, fft_bitrev, fft_twiddle);
    cycle_amplitudes(AS_DIM, cycle_fft, amplitude);
}

float rms_around_pivot(const EncoderState &enc)
{
    double power = 0.0;
    for (int i = 0; i < FRAME_LEN; i++) {
        const double v = static_cast<double>(enc.sig_hist[WINDOW_FROM + i]);
        power += v * v;
    }
    return static_cast<float>(std::sqrt(power / FRAME_LEN));
}

} // namespace

std::vector<AmplitudeFrame> analyse_amplitudes(const std::vector<int16_t> &pcm)
{
    const auto enc = std::make_unique<EncoderState>();
    encoder_reset(enc.get());
    std::vector<AmplitudeFrame> frames(pcm.size() / FRAME_LEN);
    for (size_t t = 0; t < frames.size(); t++) {
        FrameParams params;
        encoder_analyse(enc.get(), pcm.data() + t * FRAME_LEN, &params);
        recover_amplitudes(*enc, frames[t].amplitude);
        frames[t].rms = rms_around_pivot(*enc);
        frames[t].as_index = params.as_index;
    }
    return frames;
}

float speech_threshold(std::span<const AmplitudeFrame> frames)
{
    /* Raising the threshold raises the mean of what lies above it, so that it climbs to its fixed point and stops. */
    float threshold = LEAST_RMS;
    for (;;) {
        double power = 0.0;
        size_t n = 0;
        for (const AmplitudeFrame &frame : frames)
            if (frame.rms >= threshold) {
                power += static_cast<double>(frame.rms) * static_cast<double>(frame.rms);
                n++;
            }
        if (n == 0)
            return threshold;
        const double level = std::sqrt(power / static_cast<double>(n));
        const float raised = static_cast<float>(level * std::pow(10.0, -ACTIVE_MARGIN_DB / 20.0));
        if (raised <= threshold)
            return threshold;
        threshold = raised;
    }
}

std::vector<int16_t> read_pcm(const std::string &path)
{
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> file(sf_open(path.c_str(), SFM_READ, &info), sf_close);
    if (!file)
        throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    if (info.samplerate != 8000)
        throw std::runtime_error(path + ": sampled at " + std::to_string(info.samplerate) + " Hz, not at 8000 Hz");

    const size_t channels = static_cast<size_t>(info.channels);
    std::vector<float> block(4096 * channels);
    std::vector<int16_t> pcm;
    for (;;) {
        const sf_count_t n = sf_readf_float(file.get(), block.data(), 4096);
        if (n <= 0)
            break;
        for (size_t i = 0; i < static_cast<size_t>(n); i++) {
            float sum = 0.0f;
            for (size_t c = 0; c < channels; c++)
                sum += block[i * channels + c];
            const float v = sum / static_cast<float>(channels) * 32768.0f;
            pcm.push_back(static_cast<int16_t>(std::lround(std::clamp(v, -32768.0f, 32767.0f))));
        }
    }
    if (sf_error(file.get()) != SF_ERR_NO_ERROR)
        throw std::runtime_error(path + ": " + sf_strerror(file.get()));
    return pcm;
}

} // namespace talv
