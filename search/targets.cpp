#include "search/targets.h"

#include "dsp/fft.h"
#include "encoder/cycle.h"
#include "encoder/gain.h"
#include "encoder/rs.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int QUARTER = FRAME_LEN / QUARTERS;

/** Gains in windows of whole cycles, centred on the quarters' ends where the signal behind them is known */
void measure_gains(const SpeechHistory *history, int end, int32_t lag, float *gain) noexcept
{
    int window = lag;
    while (window < QUARTER)
        window += lag;
    const int later = std::min(window / 2, future(history) - end);
    subframe_rms(at(history->sig, end - FRAME_LEN + later), FRAME_LEN, lag, QUARTERS, gain);
}

/** Periodicity in windows of a frame's length, centred on 3/4 and 5/4 of the frame */
void measure_periodicity(const SpeechHistory *history, int end, int32_t lag, float *rs) noexcept
{
    int32_t lag_lo, lag_hi;
    rs_lag_range(lag, &lag_lo, &lag_hi);
    const int start = std::min(end + QUARTER - FRAME_LEN / 2, future(history) - FRAME_LEN);
    const float *second = at(history->mid, start);
    rs_values(second, lag_lo, lag_hi, rs);
}

/** Amplitudes of the cycle around the frame's end */
void measure_amplitudes(const SpeechHistory *history, int end, int32_t lag, float *as) noexcept
{
    float cycle[LAG_MAX + 3], spline_coef[LAG_MAX + 3], cycle_128[FFT_MAX]; /* a guard in front and two behind */
    Complex spectrum[FFT_MAX / 2 + 1];
    const int periods = FRAME_LEN / lag;
    const int start = std::min(end - periods * lag / 2, future(history) - periods * lag);
    cycle_fold(lag, periods, at(history->res, start), cycle + 1);
    cycle_resample(lag, cycle + 1, spline_coef + 1, FFT_MAX, cycle_128);
    real_fft(cycle_128, spectrum, FFT_MAX, FFT_MAX, fft_bitrev, fft_twiddle);
    cycle_amplitudes(AS_DIM, spectrum, as);
}

} // namespace

void measure_targets(const SpeechHistory *history, int frame, Targets *targets) noexcept
{
    const int end = (frame + 1) * FRAME_LEN;
    const int32_t lag = targets->pitch.lag;
    std::copy_n(history->lsf[frame], LPC_ORDER, targets->lsf);
    measure_gains(history, end, lag, targets->gain);
    measure_periodicity(history, end, lag, targets->rs);
    measure_amplitudes(history, end, lag, targets->as);
}

} // namespace talv::inline TALV_TARGET
