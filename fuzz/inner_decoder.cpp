#include "decoder/envelope.h"
#include "decoder/excitation.h"
#include "decoder/interpolate.h"
#include "decoder/pcm.h"
#include "decoder/postfilter.h"
#include "decoder/tracks.h"
#include "decoder/waveform.h"
#include "dsp/lsf.h"
#include "inner.h"

namespace talv::inline TALV_TARGET
{

namespace
{

/** n, up to whole groups of four */
int whole_groups(int n)
{
    return (n + 3) / 4 * 4;
}

/** Elements 0 .. h and what fills up the last group of four */
Room<Spectrum> spectrum_signal(fuzz::Input &in, int h, float top)
{
    Room<float> x = signal(in, 2 * (h + 4), 0, top);
    Room<Spectrum> z(1);
    for (int k = 0; k < h + 4; k++) {
        z[0].re[k] = x[2 * k];
        z[0].im[k] = x[2 * k + 1];
    }
    return z;
}

void add_bins(const Spectrum &spectrum, int bins, Digest &digest)
{
    digest.add(spectrum.re, bins);
    digest.add(spectrum.im, bins);
}

void excitation(fuzz::Input &in, Digest &digest)
{
    const int h = in.integer(LAG_MIN / 2, LAG_MAX_FRAME / 2);
    const float rs = static_cast<float>(in.byte()) / 255.0f;
    Room<float> noise(MAX_HARMONICS + 4), amp(MAX_HARMONICS + 4), as = values(in, AS_DIM, 0.0f, 3.2f);
    noise_profile(h, MAX_HARMONICS, rs, noise);
    amp_profile(AS_DIM, as, h, MAX_HARMONICS, amp);
    for (int k = 0; k <= MAX_HARMONICS; k++)
        FUZZ_CHECK(noise[k] >= 0.0f && noise[k] <= 1.001f && (k > 0 && k <= h ? true : noise[k] == 0.0f));
    uint32_t seed = in.word() % 4386; /* every state that is reached, and the one at the start */
    Room<Spectrum> out(1);
    mix_excitation(&seed, h, amp, noise, out);
    FUZZ_CHECK(seed < 4096);
    digest.add(noise.all(), h + 1);
    add_bins(out[0], h + 1, digest);
    digest.add(seed);
}

void envelopes(fuzz::Input &in, Digest &digest)
{
    const int p = in.integer(LAG_MIN, LAG_MAX_FRAME), count = in.integer(1, SPECTRA_MAX);
    Room<float> terms = signal(in, SPECTRA_MAX * POLY_TERMS, 0, 300.0f);
    float poly[SPECTRA_MAX][POLY_TERMS];
    for (int i = 0; i < SPECTRA_MAX; i++)
        tilted_poly(terms + i * POLY_TERMS, 0.32f, 0.04f, poly[i]);
    Room<Spectrum> one(1), several(count);
    Spectrum *all[SPECTRA_MAX] = {};
    for (int i = 0; i < count; i++)
        all[i] = &several[i];
    lpc_spectrum(poly[0], POLY_TERMS, p, one);
    lpc_spectra(poly, count, p, all);
    const size_t bytes = static_cast<size_t>(p / 2 + 1) * sizeof(float);
    FUZZ_CHECK(std::memcmp(one[0].re, several[0].re, bytes) == 0 && std::memcmp(one[0].im, several[0].im, bytes) == 0);
    for (int i = 0; i < count; i++)
        add_bins(several[i], p / 2 + 1, digest);
}

void cycle_spectrum(fuzz::Input &in, Digest &digest)
{
    const int p = in.integer(LAG_MIN, LAG_MAX_FRAME), h = p / 2;
    int32_t n = 0;
    fft_size_for(p, FFT_MAX, &n);
    FUZZ_CHECK(n == 32 || n == 64 || n == 128);
    Room<Spectrum> exc = spectrum_signal(in, h, 4.0f), lpc = spectrum_signal(in, h, 1e4f), spec(1);
    spectrum_shape(h, exc, lpc, static_cast<float>(in.half_word()), spec);
    spectrum_trim(p, n, spec);
    spline_prefilter(FFT_MAX, spline_table, n, spec);
    add_bins(spec[0], n / 2 + 1, digest);
    uint32_t seed = in.word() % 4386;
    Room<float> row = values(in, AMP_ROOM, 0.0f, 3.2f);
    float amp[1][AMP_ROOM], energy, factor;
    std::copy_n(&row[0], AMP_ROOM, amp[0]);
    const float rs = static_cast<float>(in.byte()) / 255.0f, gain = 100.0f;
    Spectrum *const whole = lpc;
    divide_excitations(&seed, 1, h, &rs, amp, &whole, &energy);
    level_factors(1, &p, &n, &gain, &energy, &factor);
    finish_spectrum(p, n, factor, whole);
    add_bins(lpc[0], n / 2 + 1, digest);
    for (int k = 0; k <= n / 2; k++)
        FUZZ_CHECK(std::isfinite(spec[0].re[k]) && std::isfinite(spec[0].im[k]));
}

/** Cycles as the decoder keeps them, with room up to FFT_MAX + 1 whatever the grid. The position has gone past the end
 *  of the old grid by a step at most; where the old cycle was just dropped, it is one of that cycle's grid. */
void interpolation(fuzz::Input &in, Digest &digest)
{
    constexpr float BEYOND = 1.05f; /* a step is a twentieth of a cycle at most */
    const auto lag_of = [&in](int n) {
        return n == 32 ? in.integer(LAG_MIN, 32) : n == 64 ? in.integer(33, 64) : in.integer(65, LAG_MAX_FRAME);
    };
    const bool dropped = in.byte() % 4 == 0;
    const int n_before = 32 << in.byte() % 3, n_new = 32 << in.byte() % 3, n_old = dropped ? n_new : n_before;
    const int p_new = lag_of(n_new), p_old = dropped ? p_new : lag_of(n_old), L = in.integer(20, 80);
    Room<float> old_cycle = signal(in, FFT_MAX + 2, 1, 1e5f), new_cycle = signal(in, FFT_MAX + 2, 1, 1e5f),
                out(whole_groups(L));
    float phase = BEYOND * static_cast<float>(in.half_word()) / 65535.0f * static_cast<float>(n_before);
    cw_interpolate(n_old, n_new, old_cycle, new_cycle, p_old, p_new, L, out, &phase);
    FUZZ_CHECK(fuzz::all_finite(out.all(), static_cast<size_t>(L)));
    FUZZ_CHECK(phase >= 0.0f && phase <= BEYOND * static_cast<float>(n_new));
    digest.add(out.all(), L);
    digest.add(phase);
}

void one_spline_value(fuzz::Input &in, Digest &digest)
{
    const int n = in.integer(1, FFT_MAX);
    Room<float> coef = signal(in, n + 2, 1, 1e5f);
    const wide_t v = spline_value(coef, wide(in.half_word()) / 65536 * n);
    FUZZ_CHECK(std::isfinite(v));
    digest.add(v);
}

void postfilters(fuzz::Input &in, Digest &digest)
{
    const int count = in.integer(1, 4), samples = in.integer(1, 120);
    Room<float> lsf_from = lsf_vector(in, LPC_ORDER, true), lpc(count * LPC_ORDER);
    lsf_stabilize(lsf_from, LPC_ORDER, 0.02f);
    intrp_lsf_lpc(lsf_from, lsf_from, LPC_ORDER, count, lpc);
    Room<PostfilterTaps> taps(count);
    postfilter_design(lpc, count, taps);
    Room<float> speech = signal(in, whole_groups(samples), 11, 1e5f), out = signal(in, whole_groups(samples), 10, 1e5f);
    postfilter_run(taps + (count - 1), samples, speech, out);
    FUZZ_CHECK(fuzz::all_finite(out.all(), static_cast<size_t>(out.before + samples)));
    digest.add(out.all(), out.before + samples);
    Room<float> num(LPC_ORDER + 1), den(LPC_ORDER);
    for (int k = 0; k < LPC_ORDER; k++) {
        num[k] = lpc[k] * pf_zero_weight[k];
        den[k] = lpc[k] * pf_pole_weight[k];
    }
    postfilter(LPC_ORDER, num, den, samples, speech, out);
    digest.add(out.all(), out.before + samples);
}

void to_pcm(fuzz::Input &in, Digest &digest)
{
    const int n = in.integer(1, FRAME_LEN);
    Room<float> x(n);
    for (int i = 0; i < n; i++) /* any pattern at all, NaN and infinity too */
        x[i] = i < 8 ? std::bit_cast<float>(in.word()) : x[i - 8] * 1.7f;
    Room<int16_t> pcm(n);
    pcm_round(n, x, pcm);
    for (int i = 0; i < n; i++) {
        const bool fits = x[i] >= -32768.5f && x[i] < 32767.5f;
        FUZZ_CHECK(pcm[i] == (fits ? static_cast<int>(std::nearbyint(x[i])) : -32768));
    }
    digest.add(pcm.all(), n);
}

void grids(fuzz::Input &in, Digest &digest)
{
    const int prev = in.integer(LAG_MIN, LAG_MAX_FRAME), cur = in.integer(LAG_MIN, LAG_MAX_FRAME);
    int32_t K = 0;
    Room<int32_t> bounds(MAX_SUBFRAMES + 1), lag(MAX_SUBFRAMES);
    subframe_grid(cur, FRAME_LEN, 2, MAX_SUBFRAMES, 2.0f, &K, bounds);
    FUZZ_CHECK(K >= 3 && K <= MAX_SUBFRAMES && bounds[0] == 0 && bounds[K] == FRAME_LEN);
    pitch_interp(prev, cur, K, lag);
    for (int k = 0; k < K; k++) {
        FUZZ_CHECK(lag[k] >= std::min(prev, cur) && lag[k] <= std::max(prev, cur));
        FUZZ_CHECK(bounds[k + 1] - bounds[k] >= 20 && bounds[k + 1] - bounds[k] <= 80);
    }
    digest.add(lag.all(), K);
    digest.add(bounds.all(), K + 1);
}

void parameter_tracks(fuzz::Input &in, Digest &digest)
{
    const int K = in.integer(3, MAX_SUBFRAMES);
    Room<float> rs = values(in, 4, 0.0f, 1.0f), rs_track(K);
    rs_expand(2, rs + 2);
    rs_interp(2, rs + 1, K, rs_track);
    Room<float> prev = values(in, AS_DIM, 0.0f, 3.2f), cur = values(in, AS_DIM, 0.0f, 3.2f), as(AS_DIM);
    as_step(AS_DIM, prev, cur, K, as);
    Room<float> gains = values(in, QUARTERS + 1, -20.0f, 105.0f), gain_track(K);
    gains[0] *= gains[0]; /* squared when it was the last of its frame */
    gain_interp(QUARTERS, gains + 1, K, GAIN_ONSET, gain_track);
    for (int k = 0; k < K; k++) {
        FUZZ_CHECK(rs_track[k] >= 0.0f && rs_track[k] <= 1.0f);
        FUZZ_CHECK(gain_track[k] >= 0.0f && gain_track[k] <= 105.0f * 105.0f);
    }
    digest.add(rs_track.all(), K);
    digest.add(as.all(), as.n);
    digest.add(gain_track.all(), K);
}

constexpr Case list[] = {excitation,  envelopes, cycle_spectrum, interpolation,   one_spline_value,
                         postfilters, to_pcm,    grids,          parameter_tracks};

} // namespace

Cases decoder_cases()
{
    return {list, static_cast<int>(std::size(list))};
}

} // namespace talv::inline TALV_TARGET
