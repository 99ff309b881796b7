#include "encoder/encoder.h"

#include "dsp/as_codebook.h"
#include "dsp/fetch.h"
#include "dsp/fft.h"
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/simd.h"
#include "dsp/vq.h"
#include "encoder/conditioning.h"
#include "encoder/cycle.h"
#include "encoder/gain.h"
#include "encoder/lpc.h"
#include "encoder/pitch.h"
#include "encoder/rs.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace talv::inline TALV_TARGET
{

namespace
{

/* Positions of the histories. In a call, the block of this call lies at [640, 880), that of the previous call at
 * [400, 640), and the block that the frame describes at [160, 400). */
constexpr int NEWEST = 640;   /* first sample of this call's block                              */
constexpr int PIVOT = 400;    /* end of the stretch that the frame describes                    */
constexpr int STRETCH = 160;  /* its start                                                      */
constexpr int LPC_FROM = 520; /* the LPC window, 240 samples, is centred on NEWEST              */

/* Where that begins which is read of the filtered residuals: the longest lag before the first window. What is older is
 * neither moved nor asked for. */
constexpr int LP_LIVE = PIVOT - LAG_MAX;
constexpr int RS_LIVE = PIVOT - FRAME_LEN / 2 - LAG_MAX;

constexpr int LPC_BLOCKS = 4; /* the residual's filter changes every 60 samples */
constexpr int LPC_BLOCK_LEN = FRAME_LEN / LPC_BLOCKS;

constexpr int32_t START_LAG = 64;
constexpr float START_LSF_STEP = 0.25f;

/** One pitch cycle with a guard in front and two behind */
struct CycleBuffer {
    float element[LAG_MAX + 3];
    float *first() noexcept { return element + 1; }
};

/** Move what is live of a history a frame down, from position `live` on */
void move_down(float *hist, int live, int length) noexcept
{
    std::memmove(hist + live, hist + live + FRAME_LEN, static_cast<size_t>(length - FRAME_LEN - live) * sizeof(float));
}

/* The steps with the largest work arrays are routines of their own, not inlined, so that the arrays of one are gone
 * from the stack when the next one runs. */

/** Input conditioning, and the envelope at the start of the newest block, which becomes lsf_new. Half of the LPC window
 *  is older: its autocorrelation is begun beside the filters.
 *  return   as getlsf2()                                                                                             */
[[gnu::noinline]] int condition_and_analyse(EncoderState *enc, const int16_t *pcm) noexcept
{
    Autocorr window(FRAME_LEN);
    window.take_windowed(enc->sig_hist + LPC_FROM, NEWEST - LPC_FROM);
    iir_prefilter(prefilter_den, prefilter_num, pcm, enc->sig_hist + NEWEST, enc->iir_state, FRAME_LEN, &window);
    fetch_ahead(enc->sig_hist, LPC_FROM * sizeof(float));
    fetch_ahead(enc->res_hist, sizeof enc->res_hist);
    dc_tracker(FRAME_LEN, &enc->dc_mean, enc->sig_hist + NEWEST, &window);
    fetch_ahead(enc->lp_hist + LP_LIVE, (RES_HIST_LEN - LP_LIVE) * sizeof(float));
    return getlsf2(&window, enc->lsf_new);
}

/** Periodicity of two windows, around the newest raw lag: 1 - r^2 each, coded as a pair */
[[gnu::noinline]] void code_periodicity(EncoderState *enc, int32_t *rs_index) noexcept
{
    int32_t lag_lo, lag_hi;
    float rs_vec[RS_DIM];
    rs_lag_range(enc->pitch_hist[2], &lag_lo, &lag_hi);
    sym_fir(RS_ORDER, rs_taps, FRAME_LEN, enc->res_hist + PIVOT, enc->rs_hist + PIVOT, enc->rs_state);
    rs_values(enc->rs_hist + PIVOT, lag_lo, lag_hi, rs_vec);
    vq_search(RS_DIM, RS_DIM, rs_vec, RS_ROWS, rs_codebook, rs_index);
}

/** Harmonic amplitudes of the cycle around PIVOT, and beside them the sums for the gains */
[[gnu::noinline]] void code_amplitudes(const EncoderState *enc, int32_t pitch, SquareSums *sums,
                                       int32_t *as_index) noexcept
{
    CycleBuffer cycle_avg, spline_coef;
    float cycle_128[FFT_MAX];
    Complex cycle_fft[FFT_MAX / 2 + 1];
    float as_vec[AS_DIM];
    const int periods = FRAME_LEN / pitch;
    cycle_fold(pitch, periods, enc->res_hist + PIVOT - periods * pitch / 2, cycle_avg.first());
    cycle_resample(pitch, cycle_avg.first(), spline_coef.first(), FFT_MAX, cycle_128, sums);
    real_fft(cycle_128, cycle_fft, FFT_MAX, FFT_MAX, fft_bitrev, fft_twiddle);
    cycle_amplitudes(AS_DIM, cycle_fft, as_vec);
    vq_search(AS_DIM, AS_DIM, as_vec, AS_ROWS, as_codebook, as_index);
}

} // namespace

void encoder_reset(EncoderState *enc) noexcept
{
    std::fill_n(enc->sig_hist, SIG_HIST_LEN, 0.0f);
    std::fill_n(enc->res_hist, RES_HIST_LEN, 0.0f);
    std::fill_n(enc->lp_hist, RES_HIST_LEN, 0.0f);
    std::fill_n(enc->rs_hist, RES_HIST_LEN, 0.0f);
    for (int k = 0; k < LPC_ORDER; k++)
        enc->lsf_prev[k] = START_LSF_STEP * static_cast<float>(k + 1);
    for (float &w : enc->iir_state)
        w = 0.0f;
    for (float &h : enc->lp_state)
        h = 0.0f;
    for (float &h : enc->rs_state)
        h = 0.0f;
    for (int i = 0; i < 2; i++) {
        enc->pitch_hist[i] = START_LAG;
        enc->corr_hist[i] = 0.0f;
    }
    enc->dc_mean = 0.0f;
}

void encoder_analyse(EncoderState *enc, const int16_t *pcm, FrameParams *params) noexcept
{
    fetch_ahead(enc->lsf_prev, sizeof *enc - offsetof(EncoderState, lsf_prev)); /* all that is no history */
    fetch_ahead(enc->sig_hist + LPC_FROM, (SIG_HIST_LEN - LPC_FROM) * sizeof(float));

    /* A tone can leave no envelope: the one before then stands in. */
    const int found = condition_and_analyse(enc, pcm);
    if (found < 0) {
        std::printf("getlsf2: Problem index = %3d\n", found);
        std::copy_n(enc->lsf_prev, LPC_ORDER, enc->lsf_new);
    }

    /* Residual of the block before it */
    float lpc_block[LPC_BLOCKS][LPC_ORDER];
    if (intrp_lsf_lpc(enc->lsf_prev, enc->lsf_new, LPC_ORDER, LPC_BLOCKS, lpc_block[0]) < 0)
        std::printf("intrp_lsf_lpc: order is too big\n\n");
    for (int j = 0; j < LPC_BLOCKS; j++) {
        const int from = PIVOT + j * LPC_BLOCK_LEN;
        lpc_residual(LPC_ORDER, LPC_BLOCK_LEN, enc->sig_hist + from, lpc_block[j], enc->res_hist + from);
    }
    add_floor_noise(FRAME_LEN, enc->res_hist + PIVOT);

    /* The vector sent is that of the previous analysis, centred on PIVOT. */
    lsf_quant(enc->lsf_prev, params->lsf_index, LPC_ORDER, lsf_levels, lsf_level_counts);

    /* Pitch: measured on the newest residual, settled one block behind */
    int32_t pitch;
    sym_fir(LP_ORDER, lp_taps, FRAME_LEN, enc->res_hist + PIVOT, enc->lp_hist + PIVOT, enc->lp_state);
    fetch_ahead(enc->rs_hist + RS_LIVE, (RES_HIST_LEN - RS_LIVE) * sizeof(float));
    pitch_search(MAX_SEGMENTS, FRAME_LEN, LAG_MIN, LAG_MAX, enc->lp_hist + PIVOT, &enc->pitch_hist[2],
                 &enc->corr_hist[2]);
    pitch_track(enc->corr_hist, enc->pitch_hist, &pitch);

    code_periodicity(enc, &params->rs_index);
    SquareSums sums = begin_square_sums(enc->sig_hist + STRETCH, FRAME_LEN, pitch);
    code_amplitudes(enc, pitch, &sums, &params->as_index);

    /* Gains of the stretch */
    float gains[QUARTERS], gain_sum[QUARTERS];
    subframe_rms(sums, gains);
    msvq_search(QUARTERS, gain_stage_sizes, gain_codebook, gains, gain_sum, params->gain_index);

    /* Only the field is limited: the analysis used the lag as it was. */
    params->pitch_index = std::min(pitch, int32_t{LAG_MAX_FRAME}) - LAG_MIN;

    /* A frame further */
    move_down(enc->sig_hist, 0, SIG_HIST_LEN);
    move_down(enc->res_hist, 0, RES_HIST_LEN);
    move_down(enc->lp_hist, LP_LIVE, RES_HIST_LEN);
    move_down(enc->rs_hist, RS_LIVE, RES_HIST_LEN);
    std::copy_n(enc->lsf_new, LPC_ORDER, enc->lsf_prev);
}

} // namespace talv::inline TALV_TARGET
