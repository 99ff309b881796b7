#include "search/descent.h"

#include "dsp/as_codebook.h"
#include "dsp/msvq.h"
#include "dsp/vq.h"
#include "search/shortlist.h"

#include <algorithm>
#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{

/** The chosen gains, each moved by what the windows that it decides lack of the loudness wanted */
void corrected_gains(const Trial *trial, int frame, float *gain) noexcept
{
    /* A gain holds at the end of its quarter. The windows centred on it most nearly end one and two quarters later. */
    float lack[2 * QUARTERS + 1];
    int known = 0;
    for (int f = frame; f < std::min(frame + 2, trial->frames); f++) {
        const Float4 wanted = total_loudness(&trial->wanted[f]);
        for (int w = 0; w < QUARTERS; w++)
            lack[known++] = std::clamp(wanted[w] / trial->heard[f][w], 0.5f, 2.0f);
    }
    msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, gain, trial->chosen[frame].gain_index);
    for (int q = 0; q < QUARTERS; q++) {
        const float r = 0.5f * (lack[std::min(q + 1, known - 1)] + lack[std::min(q + 2, known - 1)]);
        /* A gain is the fourth root of power. The square would be exact for the eighth root, and is near enough for the
         * aim of a list where loudness is power to 5/32. */
        gain[q] *= r * r;
    }
}

void try_gains(Trial *trial, int frame, int pass) noexcept
{
    float target[QUARTERS];
    if (pass == 0)
        std::copy_n(trial->target[frame].gain, QUARTERS, target);
    else
        corrected_gains(trial, frame, target);
    int32_t list[GAIN_LIST_MAX][2];
    gain_short_list(target, trial->effort->gains, list);
    for (int i = 0; i < trial->effort->gains; i++) {
        FrameParams params = trial->chosen[frame];
        std::copy_n(list[i], 2, params.gain_index);
        try_choice(trial, frame, &params);
    }
}

void try_envelopes(Trial *trial, int frame) noexcept
{
    int32_t list[LSF_LIST_MAX][LPC_ORDER];
    lsf_short_list(trial->target[frame].lsf, trial->effort->envelopes, list);
    for (int i = 0; i < trial->effort->envelopes; i++) {
        FrameParams params = trial->chosen[frame];
        std::copy_n(list[i], LPC_ORDER, params.lsf_index);
        try_choice(trial, frame, &params);
    }
}

/** Each LSF a level down or up, and on in the direction that helped */
void step_envelope(Trial *trial, int frame) noexcept
{
    for (int k = 0; k < LPC_ORDER; k++)
        for (int step = -1; step <= 1; step += 2) {
            FrameParams params = trial->chosen[frame];
            for (int i = 0; i < 2 && lsf_step(params.lsf_index, k, step) && try_choice(trial, frame, &params); i++) {
            }
        }
}

/** Two neighbouring LSFs a level down or up together: a resonance moves without growing sharper */
void step_pairs(Trial *trial, int frame) noexcept
{
    for (int k = 0; k + 1 < LPC_ORDER; k++)
        for (int step = -1; step <= 1; step += 2) {
            FrameParams params = trial->chosen[frame];
            if (lsf_step(params.lsf_index, k, step) && lsf_step(params.lsf_index, k + 1, step))
                try_choice(trial, frame, &params);
        }
}

void try_amplitudes(Trial *trial, int frame, int pass) noexcept
{
    const float *centre = pass == 0 ? trial->target[frame].as : as_codebook + trial->chosen[frame].as_index * AS_DIM;
    int32_t list[ROW_LIST_MAX];
    row_short_list(centre, AS_DIM, AS_ROWS, as_codebook, trial->effort->amplitudes, list);
    for (int i = 0; i < trial->effort->amplitudes; i++) {
        FrameParams params = trial->chosen[frame];
        params.as_index = list[i];
        try_choice(trial, frame, &params);
    }
}

/** Always near what was measured: less periodicity scores better than it sounds */
void try_periodicities(Trial *trial, int frame) noexcept
{
    int32_t list[ROW_LIST_MAX];
    row_short_list(trial->target[frame].rs, RS_DIM, RS_ROWS, rs_codebook, trial->effort->periodicities, list);
    for (int i = 0; i < trial->effort->periodicities; i++) {
        FrameParams params = trial->chosen[frame];
        params.rs_index = list[i];
        try_choice(trial, frame, &params);
    }
}

} // namespace

void quantise_targets(const Targets *targets, FrameParams *params) noexcept
{
    params->pitch_index = targets->pitch.lag - LAG_MIN;
    lsf_short_list(targets->lsf, 1, &params->lsf_index);
    gain_short_list(targets->gain, 1, &params->gain_index);
    row_short_list(targets->rs, RS_DIM, RS_ROWS, rs_codebook, 1, &params->rs_index);
    row_short_list(targets->as, AS_DIM, AS_ROWS, as_codebook, 1, &params->as_index);
}

void descend(Trial *trial, int frame, int pass) noexcept
{
    try_gains(trial, frame, pass);
    if (pass == 0)
        try_envelopes(trial, frame);
    try_amplitudes(trial, frame, pass);
    try_periodicities(trial, frame);
    if (frame > 0)
        return; /* a frame that is yet to change gains nothing from an exact envelope */
    step_envelope(trial, frame);
    if (pass < trial->effort->pair_passes)
        step_pairs(trial, frame);
}

} // namespace talv::inline TALV_TARGET
