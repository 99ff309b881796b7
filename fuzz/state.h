/** What must hold of an instance between any two calls, whatever was fed to it */
#ifndef TALV_FUZZ_STATE_H
#define TALV_FUZZ_STATE_H

#include "check.h"
#include "codec/dispatch.h"
#include "codec/instance.h"

#include <cstring>

namespace talv::fuzz
{

inline void check_decoder(const DecoderState &dec)
{
    FUZZ_CHECK(all_finite(dec.lsf_prev, LSF_STORE));
    FUZZ_CHECK(dec.pitch_prev >= LAG_MIN && dec.pitch_prev <= LAG_MAX_FRAME);
    for (const float rs : dec.rs_hist)
        FUZZ_CHECK(rs >= 0.0f && rs <= 1.0f);
    FUZZ_CHECK(all_finite(dec.as_prev, AS_DIM));
    FUZZ_CHECK(all_finite(dec.gain_hist, 5));
    for (const float gain : dec.gain_track)
        FUZZ_CHECK(std::isfinite(gain) && gain >= 0.0f);
    FUZZ_CHECK(dec.noise_seed == 4385 || dec.noise_seed < 4096);
    FUZZ_CHECK(dec.rs_prev >= 0.0f && dec.rs_prev <= 1.0f);
    FUZZ_CHECK(dec.cycle_old_len == 32 || dec.cycle_old_len == 64 || dec.cycle_old_len == 128);
    FUZZ_CHECK(all_finite(dec.cycle_old, CYCLE_STORE));
    FUZZ_CHECK(all_finite(dec.cycle_new, CYCLE_STORE));
    FUZZ_CHECK(all_finite(dec.syn_hist, 257));
    FUZZ_CHECK(all_finite(dec.out_hist, 256));
    FUZZ_CHECK(dec.cycle_phase >= 0.0f && dec.cycle_phase < 2.0f * FFT_MAX);
}

inline void check_encoder(const EncoderState &enc)
{
    FUZZ_CHECK(all_finite(enc.sig_hist, SIG_HIST_LEN));
    FUZZ_CHECK(all_finite(enc.res_hist, RES_HIST_LEN));
    FUZZ_CHECK(all_finite(enc.lp_hist, RES_HIST_LEN));
    FUZZ_CHECK(all_finite(enc.rs_hist, RES_HIST_LEN));
    FUZZ_CHECK(all_finite(enc.iir_state, 5) && all_finite(enc.lp_state, 17) && all_finite(enc.rs_state, 5));
    FUZZ_CHECK(std::isfinite(enc.dc_mean));
    for (int k = 0; k < LPC_ORDER; k++)
        FUZZ_CHECK(enc.lsf_prev[k] > (k == 0 ? 0.0f : enc.lsf_prev[k - 1]) && enc.lsf_prev[k] < 3.14159f);
    for (int i = 0; i < 3; i++) {
        FUZZ_CHECK(enc.pitch_hist[i] >= LAG_MIN && enc.pitch_hist[i] <= LAG_MAX);
        FUZZ_CHECK(enc.corr_hist[i] >= 0.0f && enc.corr_hist[i] <= 1.0f);
    }
}

/** The copies of the blocks that this machine can run, one or two: they are to agree to the bit */
struct Copies {
    const FrameRoutines *routines[2];
    int count;
};

inline Copies copies()
{
    const FrameRoutines *best = choose_routines();
    return {{&baseline_routines, best}, best == &baseline_routines ? 1 : 2};
}

} // namespace talv::fuzz

#endif
