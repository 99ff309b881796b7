#include "search/history.h"

#include "dsp/lsf.h"
#include "encoder/conditioning.h"
#include "encoder/lpc.h"
#include "encoder/pitch.h"
#include "encoder/rs.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

namespace
{

/* In the encoder's histories after a call, the newest block of the signal starts here, and that of the residual. */
constexpr int NEWEST_SIGNAL = 400;
constexpr int NEWEST_RESIDUAL = 160;

constexpr float START_LSF_STEP = 0.25f;

void move_down(float *array, int length) noexcept
{
    std::copy(array + FRAME_LEN, array + length, array);
}

/** Symmetric low-pass without delay; what lies beyond `end` counts as 0
 *  in    I  [from - order .. end-1]
 *  out   O  [from .. end-1]                                                                                         */
void low_pass(int order, const float *taps, int from, int end, const float *in, float *out) noexcept
{
    for (int n = from; n < end; n++) {
        float sum = taps[0] * in[n];
        for (int k = 1; k <= order; k++)
            sum += taps[k] * (in[n - k] + (n + k < end ? in[n + k] : 0.0f));
        out[n] = sum;
    }
}

} // namespace

void history_reset(SpeechHistory *history, int blocks) noexcept
{
    *history = {};
    history->blocks = blocks;
    for (auto &lsf : history->lsf)
        for (int k = 0; k < LPC_ORDER; k++)
            lsf[k] = START_LSF_STEP * static_cast<float>(k + 1);
}

void history_advance(SpeechHistory *history, const EncoderState *enc) noexcept
{
    const int length = PAST + future(history);
    for (float *array : {history->sig, history->res, history->low, history->mid})
        move_down(array, length);
    const int newest = length - FRAME_LEN;
    std::copy_n(enc->sig_hist + NEWEST_SIGNAL, FRAME_LEN, history->sig + newest);
    std::copy_n(enc->res_hist + NEWEST_RESIDUAL, FRAME_LEN, history->res + newest - FRAME_LEN);

    for (int block = 0; block < history->blocks - 2; block++)
        std::copy_n(history->lsf[block + 1], LPC_ORDER, history->lsf[block]);
    float *lsf = history->lsf[history->blocks - 2], *newest_lsf = history->lsf[history->blocks - 1];
    std::copy_n(enc->lsf_prev, LPC_ORDER, lsf);
    if (getlsf2(history->sig + newest, FRAME_LEN, LPC_ORDER, newest_lsf) < 0)
        std::copy_n(lsf, LPC_ORDER, newest_lsf); /* a tone: as the encoder does */
    float lpc[LPC_ORDER];
    lsf_to_lpc(LPC_ORDER, lsf, lpc);
    lpc_residual(LPC_ORDER, FRAME_LEN, history->sig + newest, lpc, history->res + newest);

    /* The low-passed residual anew from where the last call had to do without the true one */
    low_pass(LP_ORDER, lp_taps, newest - FRAME_LEN - LP_ORDER, length, history->res, history->low);
    low_pass(RS_ORDER, rs_taps, newest - FRAME_LEN - RS_ORDER, length, history->res, history->mid);
}

} // namespace talv::inline TALV_TARGET
