#include "decoder/decoder.h"

#include "decoder/interpolate.h"
#include "decoder/pcm.h"
#include "decoder/postfilter.h"
#include "decoder/tracks.h"
#include "decoder/waveform.h"
#include "dsp/as_codebook.h"
#include "dsp/fetch.h"
#include "dsp/fft.h"
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
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

constexpr int32_t BATCH = LANES; /* subframes that are made together */
static_assert(BATCH == SPECTRA_MAX);

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
    float as[AMP_ROOM];      /* of the subframe before the one at work, then 1.0, as divide_excitations() wants it */
    float as_step[AMP_ROOM]; /* from one to the next, then 0.0 */
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
    std::fill_n(tracks->as_step + AS_DIM, AMP_ROOM - AS_DIM, 0.0f);

    msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, dec->gain_hist + 1, params->gain_index);
    gain_interp(QUARTERS, dec->gain_hist + 1, K, GAIN_ONSET, dec->gain_track + 1);
}

/** What a subframe's cycle is made in: the envelope's spectrum, then the cycle's, and at last the cycle */
union Cycle {
    Spectrum spec;
    float coef[2 * SPECTRUM_ROOM]; /* as DecoderState::cycle_new */
};
static_assert(2 * SPECTRUM_ROOM >= CYCLE_STORE);

/** Subframes that are made together. Each stage goes through all of them before the next one begins: what one of them
 *  waits for, the others fill. */
struct Batch {
    int32_t first, count; /* subframes first .. first + count - 1 of the frame */
    int32_t grid[BATCH];  /* grid sizes                                        */
    bool breaks[BATCH];   /* where the old cycle is dropped                    */
    float energy[BATCH];  /* of the spectra, what level_factors() needs        */
    Cycle cycle[BATCH];
};

/** Which subframes the batch has, and what is known of them beforehand */
void plan_batch(const DecoderState *dec, const Tracks *tracks, int32_t first, Batch *batch) noexcept
{
    batch->first = first;
    batch->count = std::min(tracks->K - first, BATCH);
    for (int32_t i = 0; i < batch->count; i++) {
        const int32_t k = first + i;
        fft_size_for(tracks->pitch[k], FFT_MAX, batch->grid + i);
        batch->breaks[i] = continuity_break(k == 0 ? dec->rs_prev : tracks->rs[k - 1], tracks->rs[k],
                                            dec->gain_track[k], dec->gain_track[k + 1]);
    }
}

/** The envelopes' spectra, those of one lag together */
void envelopes(const DecoderState *dec, const Tracks *tracks, Batch *batch) noexcept
{
    float poly[BATCH][POLY_TERMS];
    Spectrum *spec[BATCH];
    for (int32_t i = 0; i < batch->count; i++) {
        tilted_poly(tracks->lpc[batch->first + i], dec->tilt_c1, dec->tilt_c2, poly[i]);
        spec[i] = &batch->cycle[i].spec;
    }
    const int32_t *p = tracks->pitch + batch->first;
    for (int32_t i = 0, count; i < batch->count; i += count) {
        for (count = 1; i + count < batch->count && p[i + count] == p[i];)
            count++;
        lpc_spectra(poly + i, count, p[i], spec + i);
    }
}

/** Divide the excitations by the envelopes, two of one lag together */
void excitations(DecoderState *dec, Tracks *tracks, Batch *batch) noexcept
{
    const int32_t *p = tracks->pitch + batch->first;
    for (int32_t i = 0, count; i < batch->count; i += count) {
        count = i + 1 < batch->count && p[i + 1] == p[i] ? 2 : 1;
        float amp[2][AMP_ROOM];
        Spectrum *spec[2];
        for (int32_t j = 0; j < count; j++) {
            for (int d = 0; d < AMP_ROOM; d += LANES) {
                const Float4 now = load4(tracks->as + d) + load4(tracks->as_step + d);
                store4(tracks->as + d, now);
                store4(amp[j] + d, now);
            }
            spec[j] = &batch->cycle[i + j].spec;
        }
        divide_excitations(&dec->noise_seed, count, p[i] / 2, tracks->rs + batch->first + i, amp, spec,
                           batch->energy + i);
    }
}

/** From the spectra to the cycles, as spline coefficients */
void transforms(const DecoderState *dec, const Tracks *tracks, Batch *batch) noexcept
{
    const int32_t *p = tracks->pitch + batch->first;
    float factor[BATCH];
    level_factors(batch->count, p, batch->grid, dec->gain_track + batch->first + 1, batch->energy, factor);
    for (int32_t i = 0; i < batch->count; i++)
        finish_spectrum(p[i], batch->grid[i], factor[i], &batch->cycle[i].spec);
    for (int32_t i = 0; i < batch->count; i++)
        real_ifft(&batch->cycle[i].spec, batch->cycle[i].coef + 1, batch->grid[i], FFT_MAX, fft_bitrev, fft_twiddle);
}

/** Copy the coefficients of a cycle, without its guards */
void copy_cycle(const float *from, int32_t n, float *to) noexcept
{
    constexpr int32_t AT_ONCE = 32; /* which n is a multiple of */
    for (int32_t i = 1; i <= n; i += AT_ONCE)
        std::memcpy(to + i, from + i, AT_ONCE * sizeof(float));
}

/** Bring the state's cycles to where subframe i leaves them */
void keep_cycle(DecoderState *dec, const Tracks *tracks, const Batch *batch, int32_t i) noexcept
{
    const int32_t n = batch->grid[i];
    copy_cycle(batch->cycle[i].coef, n, dec->cycle_new);
    if (batch->breaks[i]) {
        copy_cycle(dec->cycle_new, n, dec->cycle_old);
        dec->cycle_old_len = n;
    }
    set_guards(dec->cycle_old + 1, dec->cycle_old_len);
    set_guards(dec->cycle_new + 1, n);
    copy_cycle(dec->cycle_new, n, dec->cycle_old);
    dec->cycle_old_len = n;
    dec->pitch_prev = tracks->pitch[batch->first + i];
    dec->rs_prev = tracks->rs[batch->first + i];
}

/** Write the samples of the subframes to syn_hist, each one from the cycle before to its own */
void interpolate_batch(DecoderState *dec, const Tracks *tracks, Batch *batch) noexcept
{
    float *old_cycle = dec->cycle_old;
    int32_t n_old = dec->cycle_old_len, p_old = dec->pitch_prev;
    bool alike = true; /* one grid throughout */
    int32_t kept = 0;  /* subframes that the state's cycles have gone through */
    for (int32_t i = 0; i < batch->count; i++) {
        const int32_t k = batch->first + i, n = batch->grid[i], p = tracks->pitch[k];
        float *new_cycle = batch->cycle[i].coef;
        alike = alike && n == n_old;
        if (batch->breaks[i]) {
            old_cycle = new_cycle;
            if (n < n_old) { /* read beyond the guards for some samples, where earlier cycles are left */
                for (; kept <= i; kept++)
                    keep_cycle(dec, tracks, batch, kept);
                old_cycle = dec->cycle_old;
                new_cycle = dec->cycle_new;
            }
            n_old = n;
            p_old = p;
        }
        const int32_t from = tracks->bounds[k], L = tracks->bounds[k + 1] - from;
        cw_interpolate(n_old, n, old_cycle + 1, new_cycle + 1, p_old, p, L, dec->syn_hist + SYN_PAST + from,
                       &dec->cycle_phase);
        old_cycle = batch->cycle[i].coef;
        n_old = n;
        p_old = p;
    }
    if (alike) /* the last two overwrite all of those before */
        kept = std::max(kept, batch->count - 2);
    for (; kept < batch->count; kept++)
        keep_cycle(dec, tracks, batch, kept);
}

/** Filter the samples of the subframes from syn_hist to out_hist */
[[gnu::noinline]] void postfilter_batch(DecoderState *dec, const Tracks *tracks, const Batch *batch) noexcept
{
    PostfilterTaps taps[BATCH];
    postfilter_design(tracks->lpc[batch->first], batch->count, taps);
    for (int32_t i = 0; i < batch->count; i++) {
        const int32_t from = tracks->bounds[batch->first + i];
        const int32_t L = tracks->bounds[batch->first + i + 1] - from;
        postfilter_run(taps + i, L, dec->syn_hist + SYN_PAST + from, dec->out_hist + OUT_PAST + from);
    }
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
    fetch_ahead(dec, sizeof *dec);
    Tracks tracks;
    float lsf_new[LPC_ORDER], as_new[AS_DIM];
    expand_parameters(dec, params, &tracks, lsf_new, as_new);
    Batch batch;
    for (int32_t k = 0; k < tracks.K; k += BATCH) {
        plan_batch(dec, &tracks, k, &batch);
        envelopes(dec, &tracks, &batch);
        excitations(dec, &tracks, &batch);
        transforms(dec, &tracks, &batch);
        interpolate_batch(dec, &tracks, &batch);
        postfilter_batch(dec, &tracks, &batch);
    }
    carry_history(dec, tracks.K, lsf_new, as_new);
    pcm_round(FRAME_LEN, dec->out_hist + OUT_PAST, pcm);
}

} // namespace talv::inline TALV_TARGET
