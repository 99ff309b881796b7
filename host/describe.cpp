#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/vq.h"
#include "talvhost.h"

#include <algorithm>
#include <cmath>
#include <numbers>

extern "C" void TALV_FrameDescribe(const uint8_t *frame, TALV_FrameSound *sound)
{
    constexpr int LAG_OF_ZERO = 20;
    constexpr float SPACING = 0.02f; /* radians: what the decoder keeps between two LSFs */
    TALV_FrameFields f;
    TALV_FrameUnpack(frame, &f);

    sound->pitch_hz = static_cast<float>(TALV_SAMPLE_RATE) / static_cast<float>(f.pitch + LAG_OF_ZERO);

    float lsf[talv::LPC_ORDER];
    talv::lsf_dequant(lsf, f.lsf, talv::LPC_ORDER, talv::lsf_levels, talv::lsf_level_counts);
    talv::lsf_stabilize(lsf, talv::LPC_ORDER, SPACING);
    for (int k = 0; k < talv::LPC_ORDER; k++)
        sound->lsf_hz[k] = lsf[k] * (TALV_SAMPLE_RATE * 0.5f) / std::numbers::pi_v<float>;

    /* A row holds the part of the residual's power that does not repeat from one pitch cycle to the next, 1 - r^2;
     * beyond a half the decoder takes it for more than it says, by its own curve. */
    for (int i = 0; i < 2; i++) {
        const float noise = talv::rs_codebook[2 * f.rs + i], above = noise - 0.5f;
        sound->voicing[i] = 1 - std::min(1.0f, above > 0 ? noise + 2.2222f * above * above : noise);
    }

    float gain[talv::QUARTERS];
    talv::msvq_decode(talv::QUARTERS, talv::gain_stage_sizes, talv::gain_codebook, gain, f.gain);
    double power = 0;
    for (int i = 0; i < talv::QUARTERS; i++) {
        sound->rms[i] = gain[i] * gain[i]; /* the square root of the RMS is what is sent */
        power += static_cast<double>(sound->rms[i]) * static_cast<double>(sound->rms[i]) / talv::QUARTERS;
    }
    sound->level_dbov = static_cast<float>(std::max(-100.0, 10 * std::log10(power / (32768.0 * 32768.0) + 1e-30)));
}
