/** The instance record: all that a stream remembers
 *
 *  Seen by the six exported functions, the two frame drivers and the search, which mirrors them. The two directions share
 *  no field. Every real number is a 32-bit float, signals on the scale of 16-bit PCM.
 */
#ifndef TALV_CODEC_INSTANCE_H
#define TALV_CODEC_INSTANCE_H

#include "codec/talvcodec.h"
#include "dsp/constants.h"

#include <cstdint>

namespace talv
{

/* The encoder's four histories share one coordinate, the position: the same position means the same moment. During a
 * call the new block lies at [640, 880), the block before it at [400, 640); then what later calls read moves down by
 * 240. */
inline constexpr int SIG_HIST_LEN = 880;
inline constexpr int RES_HIST_LEN = 640;

struct EncoderState {
    float sig_hist[SIG_HIST_LEN]; /* conditioned signal; new block at [640, 880)                            */
    float res_hist[RES_HIST_LEN]; /* LPC residual; a call writes [400, 640)                                 */
    float lp_hist[RES_HIST_LEN];  /* res_hist after the 17-tap low-pass, 8 samples late                     */
    float rs_hist[RES_HIST_LEN];  /* res_hist after the 5-tap low-pass, 2 samples late                      */
    float lsf_prev[LSF_STORE];    /* LSFs of the previous analysis, radians; first LPC_ORDER used           */
    float lsf_new[LSF_STORE];     /* LSFs of this call, written before they are read; not reset             */
    float iir_state[5];           /* iir_prefilter: a work cell, then w[n-1] .. w[n-4]                      */
    float lp_state[17];           /* sym_fir of order 8: a work cell, then the last 16 inputs, newest first */
    float rs_state[5];            /* sym_fir of order 2, likewise                                           */
    int32_t pitch_hist[3];        /* lags: settled, middle, newest block; element 2 is not reset            */
    float corr_hist[3];           /* the normalised correlation of each, 0..1                               */
    float dc_mean;                /* mean of the previous block                                             */
};

struct DecoderState {
    float lsf_prev[LSF_STORE];           /* decoded LSFs of the previous frame, radians; first LPC_ORDER used        */
    int32_t pitch_prev;                  /* lag of the last subframe decoded                                         */
    float rs_hist[5];                    /* periodicity: [0..1] previous frame's pair, [2..3] this frame's; [4] is 0 */
    float as_prev[AS_DIM];               /* decoded AS vector of the previous frame                                  */
    float gain_hist[5];                  /* [0] last RMS of the previous frame, [1..4] this frame's four             */
    float gain_track[MAX_SUBFRAMES + 1]; /* [0] last subframe gain of the previous frame, [1..K] this frame's  */
    float tilt_c1, tilt_c2;              /* the fixed factor 1 + tilt_c1 z^-1 + tilt_c2 z^-2; constant after a reset */
    uint32_t noise_seed;                 /* state of the noise generator                                             */
    float rs_prev;                       /* periodicity of the last subframe decoded                                 */
    float cycle_old[CYCLE_STORE];        /* previous cycle, spline coefficients from element 1, with guards          */
    int32_t cycle_old_len;               /* its grid size: 32, 64 or 128                                             */
    float cycle_new[CYCLE_STORE]; /* the cycle of the subframe at work. Kept here and cleared at a reset, because a
                                      grid that shrinks can be read a little beyond its guards for some samples */
    float syn_hist[257];          /* speech before the post-filter: 11 old samples, then this frame's 240, then
                                      room to fill up the last group of four                                  */
    float out_hist[256];          /* post-filter output: 10 old samples, then this frame's 240, likewise      */
    float cycle_phase;            /* read position on the grid of the newest cycle                            */
};

struct FrameRoutines; /* codec/dispatch.h */

} // namespace talv

struct TALV_Codec {
    talv::EncoderState enc;
    talv::DecoderState dec;
    int32_t tag;                         /* 66 once open                                        */
    const talv::FrameRoutines *routines; /* the frame drivers chosen for this processor at open */
};

static_assert(sizeof(TALV_Codec) <= 16 * 1024, "an instance must fit 16 KiB");

#endif
