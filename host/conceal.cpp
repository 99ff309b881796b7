#include "dsp/msvq.h"
#include "talvhost.h"

#include <cmath>
#include <cstring>

/* Repeating the last parameters and fading them is the way of most parametric coders: a voice changes little in 30 ms,
 * and what is held longer turns into a buzz. Compare the muting of 3GPP TS 46.011 and ITU-T G.729, 4.4. */
namespace
{

constexpr float FADE_DB = 6; /* a lost frame, after those that are held */

/* The rows nearest to a run of gains; those nearest to none at all decode to an RMS below one. */
void set_gains(TALV_FrameFields *f, const float *target)
{
    float sum[talv::QUARTERS];
    talv::msvq_search(talv::QUARTERS, talv::gain_stage_sizes, talv::gain_codebook, target, sum, f->gain);
}

constexpr float SILENCE[talv::QUARTERS] = {};

} // namespace

extern "C" {

void TALV_ConcealInit(TALV_Conceal *conceal)
{
    TALV_FrameFields f;
    std::memset(conceal, 0, sizeof *conceal);
    TALV_FrameUnpack(conceal->held, &f);
    set_gains(&f, SILENCE);
    TALV_FramePack(&f, conceal->held);
}

void TALV_ConcealReceived(TALV_Conceal *conceal, const uint8_t *frame)
{
    std::memcpy(conceal->held, frame, TALV_FRAME_BYTES);
    conceal->lost = 0;
}

int32_t TALV_ConcealLost(TALV_Conceal *conceal, uint8_t *frame)
{
    if (conceal->lost <= TALV_CONCEAL_FADE)
        conceal->lost++;
    TALV_FrameFields f;
    TALV_FrameUnpack(conceal->held, &f);
    if (conceal->lost > TALV_CONCEAL_FADE) {
        set_gains(&f, SILENCE);
    } else {
        float gain[talv::QUARTERS], target[talv::QUARTERS];
        talv::msvq_decode(talv::QUARTERS, talv::gain_stage_sizes, talv::gain_codebook, gain, f.gain);
        const float last = std::fabs(gain[talv::QUARTERS - 1]);
        for (int i = 0; i < talv::QUARTERS; i++) {
            /* quarters since the level began to fall; a gain is the square root of an RMS: half the dB */
            const int after = talv::QUARTERS * (conceal->lost - 1 - TALV_CONCEAL_HOLD) + i + 1;
            const float down_db = after > 0 ? FADE_DB * static_cast<float>(after) / talv::QUARTERS : 0;
            target[i] = last * std::pow(10.0f, -down_db / 40);
        }
        set_gains(&f, target);
    }
    TALV_FramePack(&f, frame);
    return conceal->lost;
}

} // extern "C"
