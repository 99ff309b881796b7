#include "decoder/decoder.h"

#include "decoder/interpolate.h"
#include "decoder/pcm.h"
#include "decoder/postfilter.h"
#include "decoder/tracks.h"
#include "decoder/waveform.h"
#include "dsp/as_codebook.h"
#include "dsp/fft.h"
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/simd_float.h"
#include "dsp/trig.h"
#include "dsp/vq.h"
#include "dsp/wide.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int32_t SUBFRAMES_MIN = 2;
constexpr float SUBFRAMES_PER_CYCLE = 2.0f;

constexpr int SYN_PAST = 11; /* samples of history in front of a frame in syn_hist */
constexpr int OUT_PAST = 10; /* and in out_hist: what the post-filter reads back  */

/* The tilt factor has its roots at radius 0.2 and the angles +-2.5 radians. */
constexpr float TILT_RADIUS = 0.2f;
constexpr float TILT_C1 = rounded(-2.0 * static_cast<double>(TILT_RADIUS) * cos_wide(2.5));
constexpr float TILT_C2 = TILT_RADIUS * TILT_RADIUS;
static_assert(std::bit_cast<uint32_t>(TILT_C2) == 0x3D23D70B);

constexpr int32_t START_LAG = 64;
constexpr int32_t START_GRID = 64;
constexpr float START_LSF_STEP = 0.25f;
constexpr uint32_t START_SEED = 4385;

/** The frame's parameters, one value for each of its K subframes; gains lie in DecoderState::gain_track */
struct Tracks {
    int32_t K;
    int32_t bounds[MAX_SUBFRAMES + 1]; /* subframe k covers the samples [bounds[k], bounds[k+1]) */
    float lpc[MAX_SUBFRAMES][LPC_ORDER];
    int32_t pitch[MAX_SUBFRAMES];
    float rs[MAX_SUBFRAMES];
    float as[AMP_ROOM];    /* of the subframe before the one at work, then 1.0, as divide_excitation() wants it */
    float as_step[AS_DIM]; /* from one to the next */
};

/** Expand a frame into tracks that start where the frame before ended
 *  lsf_new  O  [LPC_ORDER]  the frame's own vectors, which the frame after starts from
 *  as_new   O  [AS_DIM]                                                                                             */
void expand_parameters(DecoderState *dec, const FrameParams *params, Tracks *tracks, float *lsf_new,
                       float *as_new) noexcept
{
    const int32_t lag = params->pitch_index + LAG_MIN;
    subframe_grid(lag, FRAME_LEN, SUBFRAMES_MIN, MAX_SUBFRAMES, SUBFRAMES_PER_CYCLE, &tracks->K, tracks->bounds);
    const int32_t K = tracks->K;

    lsf_dequant(lsf_new, params->lsf_index, LPC_ORDER, lsf_levels, lsf_level_counts);
    lsf_stabilize(lsf_new, LPC_ORDER, LSF_SPACING_DECODED);
    if (intrp_lsf_lpc(dec->lsf_prev, lsf_new, LPC_ORDER, K, tracks->lpc[0]) < 0)
        std::printf("intrp_lsf_lpc: order is too big\n");

    pitch_interp(dec->pitch_prev, lag, K, tracks->pitch);

    float rs_pair[RS_DIM];
    if (ivsvq2(RS_DIM, RS_DIM, rs_pair, RS_ROWS, rs_codebook, params->rs_index) < 0)
        std::printf("ivsvq2: RS index out of range.\n");
    rs_expand(RS_DIM, rs_pair);
    std::copy_n(rs_pair, RS_DIM, dec->rs_hist + 2);
    rs_interp(RS_DIM, dec->rs_hist + 1, K, tracks->rs);

    if (ivsvq2(AS_DIM, AS_DIM, as_new, AS_ROWS, as_codebook, params->as_index) < 0)
        std::printf("ivsvq2: AS index out of range\n");
    std::copy_n(dec->as_prev, AS_DIM, tracks->as);
    std::fill_n(tracks->as + AS_DIM, AMP_ROOM - AS_DIM, 1.0f);
    as_step(AS_DIM, dec->as_prev, as_new, K, tracks->as_step);

    msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, dec->gain_hist + 1, params->gain_index);
    gain_interp(QUARTERS, dec->gain_hist + 1, K, GAIN_ONSET, dec->gain_track + 1);
}

/** What a frame computes ahead of the subframe that wants it */
struct Ahead {
    Spectrum lpc_spec[SPECTRA_MAX]; /* of subframes `first` .. `end` - 1, which have one lag */
    int32_t first, end;
    PostfilterTaps taps[LANES]; /* of subframe k at k mod 4, made for four of them at a time */
};

/** The envelopes' spectra of subframe k and of the next ones of the same lag */
[[gnu::noinline]] void envelopes(const DecoderState *dec, const Tracks *tracks, int32_t k, Ahead *ahead) noexcept
{
    float poly[SPECTRA_MAX][POLY_TERMS];
    int32_t count = 0;
    while (count < SPECTRA_MAX && k + count < tracks->K && tracks->pitch[k + count] == tracks->pitch[k]) {
        tilted_poly(tracks->lpc[k + count], dec->tilt_c1, dec->tilt_c2, poly[count]);
        count++;
    }
    lpc_spectra(poly, count, tracks->pitch[k], ahead->lpc_spec);
    ahead->first = k;
    ahead->end = k + count;
}

/** Filter the samples of subframe k from syn_hist to out_hist */
void postfilter_subframe(DecoderState *dec, const Tracks *tracks, int32_t k, Ahead *ahead) noexcept
{
    const int32_t from = tracks->bounds[k];
    const int32_t L = tracks->bounds[k + 1] - from;
    if (k % LANES == 0)
        postfilter_design(tracks->lpc[k], std::min(tracks->K - k, int32_t{LANES}), ahead->taps);
    postfilter_run(ahead->taps + k % LANES, L, dec->syn_hist + SYN_PAST + from, dec->out_hist + OUT_PAST + from);
}

/** Build the cycle of subframe k in dec->cycle_new, as spline coefficients; its grid size is the result
 *  The post-filter runs one subframe behind, between the cycle's spectrum and its transform: its chain from sample to
 *  sample then has other work beside it, the one factor that the whole spectrum waits for among it, and the transform
 *  reads nothing that was written just before.
 *  spec  IO  the envelope's spectrum, then the cycle's                                                               */
[[gnu::noinline]] int32_t build_cycle(DecoderState *dec, Tracks *tracks, int32_t k, Spectrum *spec,
                                      Ahead *ahead) noexcept
{
    const int32_t p = tracks->pitch[k];
    int32_t n;
    fft_size_for(p, FFT_MAX, &n);
    for (int d = 0; d < AS_DIM; d++)
        tracks->as[d] += tracks->as_step[d];
    const float E = divide_excitation(&dec->noise_seed, p / 2, tracks->rs[k], tracks->as, spec);
    const float scale = rounded(wide(n) * wide(dec->gain_track[k + 1]) * wide(CYCLE_LEVEL) / wide(p));
    finish_spectrum(p, n, E, scale, spec);
    if (k > 0)
        postfilter_subframe(dec, tracks, k - 1, ahead);
    real_ifft(spec, dec->cycle_new + 1, n, FFT_MAX, fft_bitrev, fft_twiddle);
    return n;
}

/** The new cycle takes the place of the old one */
void replace_cycle(DecoderState *dec, int32_t n, int32_t p) noexcept
{
    constexpr int32_t AT_ONCE = 32; /* which n is a multiple of */
    for (int32_t i = 1; i <= n; i += AT_ONCE)
        std::memcpy(dec->cycle_old + i, dec->cycle_new + i, AT_ONCE * sizeof(float));
    dec->cycle_old_len = n;
    dec->pitch_prev = p;
}

/** Write the samples of subframe k to syn_hist and move on to its cycle */
void interpolate_subframe(DecoderState *dec, const Tracks *tracks, int32_t k, int32_t n) noexcept
{
    const int32_t p = tracks->pitch[k];
    const int32_t from = tracks->bounds[k];
    const int32_t L = tracks->bounds[k + 1] - from;
    if (continuity_break(dec->rs_prev, tracks->rs[k], dec->gain_track[k], dec->gain_track[k + 1]))
        replace_cycle(dec, n, p);
    cw_interpolate(dec->cycle_old_len, n, dec->cycle_old + 1, dec->cycle_new + 1, dec->pitch_prev, p, L,
                   dec->syn_hist + SYN_PAST + from, &dec->cycle_phase);
    replace_cycle(dec, n, p);
    dec->rs_prev = tracks->rs[k];
}

/** What the next frame starts from */
void carry_history(DecoderState *dec, int32_t K, const float *lsf_new, const float *as_new) noexcept
{
    std::copy_n(dec->syn_hist + FRAME_LEN, SYN_PAST, dec->syn_hist);
    std::copy_n(dec->out_hist + FRAME_LEN, OUT_PAST, dec->out_hist);
    for (int i = 0; i < 3; i++)
        dec->rs_hist[i] = dec->rs_hist[i + 2];
    dec->gain_hist[0] = dec->gain_hist[QUARTERS];
    dec->gain_track[0] = dec->gain_track[K];
    std::copy_n(lsf_new, LPC_ORDER, dec->lsf_prev);
    std::copy_n(as_new, AS_DIM, dec->as_prev);
}

} // namespace

void decoder_reset(DecoderState *dec) noexcept
{
    *dec = {};
    for (int k = 0; k < LPC_ORDER; k++)
        dec->lsf_prev[k] = START_LSF_STEP * static_cast<float>(k + 1);
    dec->pitch_prev = START_LAG;
    dec->tilt_c1 = TILT_C1;
    dec->tilt_c2 = TILT_C2;
    dec->noise_seed = START_SEED;
    dec->cycle_old_len = START_GRID;
}

void decoder_synthesise(DecoderState *dec, const FrameParams *params, int16_t *pcm) noexcept
{
    Tracks tracks;
    float lsf_new[LPC_ORDER], as_new[AS_DIM];
    expand_parameters(dec, params, &tracks, lsf_new, as_new);
    Ahead ahead;
    ahead.end = 0;
    for (int32_t k = 0; k < tracks.K; k++) {
        if (k >= ahead.end)
            envelopes(dec, &tracks, k, &ahead);
        const int32_t n = build_cycle(dec, &tracks, k, &ahead.lpc_spec[k - ahead.first], &ahead);
        interpolate_subframe(dec, &tracks, k, n);
    }
    postfilter_subframe(dec, &tracks, tracks.K - 1, &ahead);
    carry_history(dec, tracks.K, lsf_new, as_new);
    pcm_round(FRAME_LEN, dec->out_hist + OUT_PAST, pcm);
}

} // namespace talv::inline TALV_TARGET
