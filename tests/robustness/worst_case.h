/** Measures of how far a run of frames, or a filter, takes the codec; talv_worst searches for what takes them farthest
 *
 *  Each one starts from a reset decoder.
 */
#ifndef TALV_TESTS_ROBUSTNESS_WORST_CASE_H
#define TALV_TESTS_ROBUSTNESS_WORST_CASE_H

#include "codec/frame.h"
#include "codec/instance.h"
#include "decoder/decoder.h"
#include "decoder/interpolate.h"
#include "decoder/postfilter.h"
#include "decoder/tracks.h"
#include "decoder/waveform.h"
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/vq.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace talv::test
{

using FrameBytes = std::array<uint8_t, FRAME_BYTES>;
using Frames = std::vector<FrameBytes>;

inline double peak(const float *x, int n)
{
    double top = 0.0;
    for (int i = 0; i < n; i++)
        top = std::max(top, std::fabs(static_cast<double>(x[i])));
    return top;
}

/** What the decoder's buffers reach, in PCM steps */
struct Peaks {
    double coefficient = 0.0, speech = 0.0, output = 0.0;
};

inline Peaks decoded_peaks(const Frames &frames)
{
    DecoderState dec;
    decoder_reset(&dec);
    Peaks peaks;
    for (const FrameBytes &frame : frames) {
        FrameParams params;
        int16_t pcm[FRAME_LEN];
        frame_unpack(frame.data(), &params);
        decoder_synthesise(&dec, &params, pcm);
        peaks.coefficient = std::max(peaks.coefficient, peak(dec.cycle_new, CYCLE_STORE));
        peaks.speech = std::max(peaks.speech, peak(dec.syn_hist, 257));
        peaks.output = std::max(peaks.output, peak(dec.out_hist, 256));
    }
    return peaks;
}

/** How far the read position goes astray when a cycle is dropped for one on a smaller grid */
struct Reads {
    int deepest = 0;      /* largest index of a coefficient array that is read                */
    int past_guards = 0;  /* the same less n + 1, the index of the last guard; at least 0     */
    double phase = 0.0;   /* largest position carried on, over the size of its grid           */
    int most_samples = 0; /* most samples of a subframe that are read beyond the grid         */
};

/** One subframe of decoder.cpp's driver, as far as positions go */
inline void follow_subframe(DecoderState *dec, int p, float rs, int k, int L, Reads *reads)
{
    int32_t n = 0;
    fft_size_for(p, FFT_MAX, &n);
    if (continuity_break(dec->rs_prev, rs, dec->gain_track[k], dec->gain_track[k + 1])) {
        dec->cycle_old_len = n;
        dec->pitch_prev = p;
    }
    double pos = static_cast<double>(dec->cycle_phase);
    int beyond = 0;
    for (int j = 0; j < L; j++) { /* one subtraction a sample; steps are at least that of the longest lag */
        pos -= pos >= dec->cycle_old_len ? dec->cycle_old_len : 0;
        if (pos < dec->cycle_old_len && j > 0)
            break;
        beyond += pos >= dec->cycle_old_len ? 1 : 0;
        reads->deepest = std::max(reads->deepest, static_cast<int>(pos) + 2);
        reads->past_guards = std::max(reads->past_guards, static_cast<int>(pos) + 2 - (dec->cycle_old_len + 1));
        pos += static_cast<double>(dec->cycle_old_len) / LAG_MAX_FRAME;
    }
    reads->most_samples = std::max(reads->most_samples, beyond);
    float out[FRAME_LEN];
    cw_interpolate(dec->cycle_old_len, n, dec->cycle_old + 1, dec->cycle_new + 1, dec->pitch_prev, p, L, out,
                   &dec->cycle_phase);
    reads->phase = std::max(reads->phase, static_cast<double>(dec->cycle_phase) / n);
    dec->cycle_old_len = n;
    dec->pitch_prev = p;
    dec->rs_prev = rs;
}

inline Reads reads_of(const Frames &frames)
{
    DecoderState dec;
    decoder_reset(&dec);
    Reads reads;
    for (const FrameBytes &frame : frames) {
        FrameParams params;
        frame_unpack(frame.data(), &params);
        int32_t K = 0, bounds[MAX_SUBFRAMES + 1], lags[MAX_SUBFRAMES];
        const int32_t lag = params.pitch_index + LAG_MIN;
        subframe_grid(lag, FRAME_LEN, 2, MAX_SUBFRAMES, 2.0f, &K, bounds);
        pitch_interp(dec.pitch_prev, lag, K, lags);
        float rs[MAX_SUBFRAMES];
        std::copy_n(rs_codebook + params.rs_index * RS_DIM, RS_DIM, dec.rs_hist + 2);
        rs_expand(RS_DIM, dec.rs_hist + 2);
        rs_interp(RS_DIM, dec.rs_hist + 1, K, rs);
        msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, dec.gain_hist + 1, params.gain_index);
        gain_interp(QUARTERS, dec.gain_hist + 1, K, GAIN_ONSET, dec.gain_track + 1);
        for (int32_t k = 0; k < K; k++)
            follow_subframe(&dec, lags[k], rs[k], k, bounds[k + 1] - bounds[k], &reads);
        std::copy_n(dec.rs_hist + 2, 3, dec.rs_hist);
        dec.gain_hist[0] = dec.gain_hist[QUARTERS];
        dec.gain_track[0] = dec.gain_track[K];
    }
    return reads;
}

/** What the post-filter makes of its last ten outputs over a frame without input: element [i][j] is how much of output
 *  j returns in output i of the frame's end */
using Return = std::array<std::array<double, LPC_ORDER>, LPC_ORDER>;

/** from, to  the frames whose LSFs the filter runs between */
inline Return postfilter_return(const FrameBytes &from, const FrameBytes &to)
{
    float lsf[2][LPC_ORDER], lpc[MAX_SUBFRAMES * LPC_ORDER];
    FrameParams params = {};
    for (int f = 0; f < 2; f++) {
        frame_unpack(f == 0 ? from.data() : to.data(), &params);
        lsf_dequant(lsf[f], params.lsf_index, LPC_ORDER, lsf_levels, lsf_level_counts);
        lsf_stabilize(lsf[f], LPC_ORDER, LSF_SPACING_DECODED);
    }
    int32_t K = 0, bounds[MAX_SUBFRAMES + 1];
    subframe_grid(params.pitch_index + LAG_MIN, FRAME_LEN, 2, MAX_SUBFRAMES, 2.0f, &K, bounds);
    intrp_lsf_lpc(lsf[0], lsf[1], LPC_ORDER, K, lpc);

    Return result;
    for (size_t unit = 0; unit < LPC_ORDER; unit++) {
        double y[LPC_ORDER + FRAME_LEN] = {};
        y[unit] = 1.0;
        for (int32_t k = 0; k < K; k++)
            for (int32_t i = bounds[k] + LPC_ORDER; i < bounds[k + 1] + LPC_ORDER; i++)
                for (int j = 0; j < LPC_ORDER; j++)
                    y[i] -= static_cast<double>(lpc[k * LPC_ORDER + j] * pf_pole_weight[j]) * y[i - 1 - j];
        for (size_t i = 0; i < LPC_ORDER; i++)
            result[i][unit] = y[FRAME_LEN + i];
    }
    return result;
}

/** Largest sum of magnitudes of a row */
inline double norm(const Return &m)
{
    double top = 0.0;
    for (const auto &row : m) {
        double sum = 0.0;
        for (const double v : row)
            sum += std::fabs(v);
        top = std::max(top, sum);
    }
    return top;
}

inline Return product(const Return &a, const Return &b)
{
    Return c = {};
    for (size_t i = 0; i < LPC_ORDER; i++)
        for (size_t j = 0; j < LPC_ORDER; j++)
            for (size_t k = 0; k < LPC_ORDER; k++)
                c[i][j] += a[i][k] * b[k][j];
    return c;
}

/** The factor a frame by which the post-filter's memory grows, or below 1 fades, when a run of frames is repeated for
 *  ever: the root of the norm of a high power of their return */
inline double postfilter_growth(const Frames &frames)
{
    Return m = postfilter_return(frames.back(), frames.front());
    for (size_t i = 1; i < frames.size(); i++)
        m = product(postfilter_return(frames[i - 1], frames[i]), m);
    constexpr int SQUARINGS = 7;
    double log_norm = 0.0; /* of the power so far, m being that power without it */
    for (int s = 0; s <= SQUARINGS; s++) {
        const double n = norm(m);
        log_norm = 2.0 * log_norm + std::log(n);
        for (auto &row : m)
            for (double &v : row)
                v /= n;
        m = product(m, m);
    }
    return std::exp(log_norm / std::ldexp(1.0, SQUARINGS) / static_cast<double>(frames.size()));
}

} // namespace talv::test

#endif
