/** Decoder frame driver: what a frame leaves behind, the whole synthesis one subframe after the other, and what a
 *  steady frame sounds like */
#include "decoder/decoder.h"
#include "decoder/interpolate.h"
#include "decoder/postfilter.h"
#include "decoder/tracks.h"
#include "decoder/waveform.h"
#include "dsp/as_codebook.h"
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/vq.h"
#include "dsp/wide.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

namespace
{

using namespace talv;
using Wide = std::complex<double>;

constexpr double PI_D = static_cast<double>(test::PI_L);
constexpr int SYN_PAST = 11, OUT_PAST = 10;

FrameParams random_params(test::Random &random)
{
    FrameParams params;
    params.pitch_index = random.integer(LAG_MIN, LAG_MAX_FRAME) - LAG_MIN;
    for (int k = 0; k < LPC_ORDER; k++)
        params.lsf_index[k] = random.integer(0, (1 << lsf_level_bits[k]) - 1);
    for (int32_t &g : params.gain_index)
        g = random.integer(0, GAIN_STAGE_ROWS - 1);
    params.rs_index = random.integer(0, RS_ROWS - 1);
    params.as_index = random.integer(0, AS_ROWS - 1);
    return params;
}

/** The LSFs that both directions start with, as a frame says them */
constexpr int32_t START_LSF_INDEX[LPC_ORDER] = {8, 10, 3, 1, 3, 2, 2, 3, 1, 1};

int grid_of(int p)
{
    return p <= 32 ? 32 : p <= 64 ? 64 : 128;
}

/** Lags and gains of a frame, by the routines that have tests of their own */
struct Expected {
    int32_t K, bounds[MAX_SUBFRAMES + 1], pitch[MAX_SUBFRAMES];
    float lsf[LPC_ORDER], lpc[MAX_SUBFRAMES][LPC_ORDER];
    float rs_pair[RS_DIM], rs[MAX_SUBFRAMES];
    float as_vec[AS_DIM], as[MAX_SUBFRAMES][AS_DIM];
    float gain[QUARTERS + 1], track[MAX_SUBFRAMES + 1];

    Expected(const DecoderState &before, const FrameParams &params)
    {
        const int32_t lag = params.pitch_index + LAG_MIN;
        subframe_grid(lag, FRAME_LEN, 2, MAX_SUBFRAMES, 2.0f, &K, bounds);
        lsf_dequant(lsf, params.lsf_index, LPC_ORDER, lsf_levels, lsf_level_counts);
        lsf_stabilize(lsf, LPC_ORDER, 0.02f);
        intrp_lsf_lpc(before.lsf_prev, lsf, LPC_ORDER, K, lpc[0]);
        pitch_interp(before.pitch_prev, lag, K, pitch);
        std::copy_n(rs_codebook + RS_DIM * params.rs_index, RS_DIM, rs_pair);
        rs_expand(RS_DIM, rs_pair);
        const float hist[4] = {before.rs_hist[0], before.rs_hist[1], rs_pair[0], rs_pair[1]};
        rs_interp(RS_DIM, hist + 1, K, rs);
        std::copy_n(as_codebook + AS_DIM * params.as_index, AS_DIM, as_vec);
        float step[AS_DIM];
        as_step(AS_DIM, before.as_prev, as_vec, K, step);
        for (int32_t k = 0; k < K; k++)
            for (int d = 0; d < AS_DIM; d++)
                as[k][d] = (k == 0 ? before.as_prev[d] : as[k - 1][d]) + step[d];
        gain[0] = before.gain_hist[0];
        msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, gain + 1, params.gain_index);
        track[0] = before.gain_track[0];
        gain_interp(QUARTERS, gain + 1, K, 3.0f, track + 1);
    }
};

/** The subframes one after the other, step by step, on a state from before the frame */
void synthesise_one_by_one(DecoderState &dec, const Expected &want)
{
    const auto replace_cycle = [&dec](int n, int p) {
        std::copy_n(dec.cycle_new + 1, n, dec.cycle_old + 1);
        dec.cycle_old_len = n;
        dec.pitch_prev = p;
    };
    for (int k = 0; k < want.K; k++) {
        const int p = want.pitch[k], h = p / 2, n = grid_of(p);
        float noise[SPECTRUM_ROOM], amp[SPECTRUM_ROOM], poly[POLY_TERMS];
        noise_profile(h, h, want.rs[k], noise);
        amp_profile(AS_DIM, want.as[k], h, h, amp);
        tilted_poly(want.lpc[k], dec.tilt_c1, dec.tilt_c2, poly);
        Spectrum lpc, cycle;
        lpc_spectrum(poly, POLY_TERMS, p, &lpc);
        mix_excitation(&dec.noise_seed, h, amp, noise, &cycle);
        const double scale = n * static_cast<double>(want.track[k + 1]) * static_cast<double>(CYCLE_LEVEL) / p;
        spectrum_shape(h, &cycle, &lpc, static_cast<float>(scale), &cycle);
        spectrum_trim(p, n, &cycle);
        spline_prefilter(FFT_MAX, spline_table, n, &cycle);
        real_ifft(&cycle, dec.cycle_new + 1, n, FFT_MAX, fft_bitrev, fft_twiddle);

        if (continuity_break(dec.rs_prev, want.rs[k], want.track[k], want.track[k + 1]))
            replace_cycle(n, p);
        const int from = want.bounds[k], L = want.bounds[k + 1] - from;
        cw_interpolate(dec.cycle_old_len, n, dec.cycle_old + 1, dec.cycle_new + 1, dec.pitch_prev, p, L,
                       dec.syn_hist + SYN_PAST + from, &dec.cycle_phase);
        replace_cycle(n, p);
        dec.rs_prev = want.rs[k];

        float num[LPC_ORDER + 1], den[LPC_ORDER];
        for (int j = 0; j < LPC_ORDER; j++) {
            num[j] = want.lpc[k][j] * pf_zero_weight[j];
            den[j] = want.lpc[k][j] * pf_pole_weight[j];
        }
        postfilter(LPC_ORDER, num, den, L, dec.syn_hist + SYN_PAST + from, dec.out_hist + OUT_PAST + from);
    }
}

TEST(Decoder, WhatAFrameLeavesBehind)
{
    const uint64_t seed = 41;
    SCOPED_TRACE(test::seed_note(seed));
    test::Random random(seed);
    DecoderState dec;
    decoder_reset(&dec);
    for (int t = 0; t < 500; t++) {
        SCOPED_TRACE("frame " + std::to_string(t));
        const FrameParams params = random_params(random);
        const DecoderState before = dec;
        const Expected want(before, params);
        int16_t pcm[FRAME_LEN];
        decoder_synthesise(&dec, &params, pcm);

        const int lag = params.pitch_index + LAG_MIN;
        EXPECT_TRUE(test::same_bits(dec.lsf_prev, want.lsf, LPC_ORDER));
        EXPECT_EQ(dec.pitch_prev, lag);
        const float rs_hist[5] = {want.rs_pair[0], want.rs_pair[1], 0.0f, want.rs_pair[1], 0.0f};
        EXPECT_TRUE(test::same_bits(dec.rs_hist, rs_hist, 5));
        EXPECT_TRUE(test::same_bits(dec.as_prev, want.as_vec, AS_DIM));
        EXPECT_TRUE(test::same_bits(dec.gain_hist[0], want.gain[QUARTERS]));
        EXPECT_TRUE(test::same_bits(dec.gain_hist + 1, want.gain + 1, QUARTERS)) << "squared in place";
        EXPECT_TRUE(test::same_bits(dec.gain_track[0], want.track[want.K]));
        EXPECT_TRUE(test::same_bits(dec.gain_track + 1, want.track + 1, want.K));
        EXPECT_TRUE(test::same_bits(dec.rs_prev, want.rs[want.K - 1]));
        EXPECT_TRUE(test::same_bits(dec.tilt_c1, before.tilt_c1));
        EXPECT_TRUE(test::same_bits(dec.tilt_c2, before.tilt_c2));

        ASSERT_EQ(dec.cycle_old_len, grid_of(lag));
        DecoderState one_by_one = before;
        synthesise_one_by_one(one_by_one, want);
        EXPECT_EQ(dec.noise_seed, one_by_one.noise_seed);
        ASSERT_TRUE(test::same_bits(dec.cycle_old, one_by_one.cycle_old, CYCLE_STORE));
        ASSERT_TRUE(test::same_bits(dec.cycle_new, one_by_one.cycle_new, CYCLE_STORE));
        ASSERT_TRUE(test::same_bits(dec.cycle_phase, one_by_one.cycle_phase));
        ASSERT_TRUE(test::same_bits(dec.syn_hist + SYN_PAST, one_by_one.syn_hist + SYN_PAST, FRAME_LEN));
        ASSERT_TRUE(test::same_bits(dec.out_hist + OUT_PAST, one_by_one.out_hist + OUT_PAST, FRAME_LEN));
        EXPECT_GE(dec.cycle_phase, 0.0f);
        EXPECT_TRUE(test::same_bits(dec.syn_hist, dec.syn_hist + FRAME_LEN, SYN_PAST)) << "11 samples carried";
        EXPECT_TRUE(test::same_bits(dec.out_hist, dec.out_hist + FRAME_LEN, OUT_PAST)) << "10 samples carried";
        for (int i = 0; i < FRAME_LEN; i++) {
            const float x = dec.out_hist[OUT_PAST + i];
            const bool fits = x >= -32768.5f && x < 32767.5f;
            ASSERT_EQ(pcm[i], fits ? static_cast<int>(std::nearbyint(x)) : -32768) << "sample " << i << ", " << x;
        }
    }
}

/** 1 + sum lpc[j] weight[j] z^-(j+1) at z = e^jw; without weights, A(z) itself */
Wide polynomial(const float *lpc, const float *weight, double w)
{
    Wide sum = 1.0;
    for (int j = 0; j < LPC_ORDER; j++)
        sum += wide(lpc[j]) * (weight != nullptr ? wide(weight[j]) : 1.0) * std::polar(1.0, -w * (j + 1));
    return sum;
}

/** A frame over and over is a sound of its lag: harmonics of 8000/lag Hz whose amplitudes are the AS values times the
 *  envelope and the post-filter, at a level of 0.6 of the gain before the post-filter */
TEST(Decoder, SteadyFrameHasItsSpectrum)
{
    for (const int lag : {50, 64, 100, 120}) {
        SCOPED_TRACE("lag " + std::to_string(lag));
        FrameParams params = {};
        params.pitch_index = lag - LAG_MIN;
        std::copy_n(START_LSF_INDEX, LPC_ORDER, params.lsf_index);
        params.gain_index[0] = 26; /* with row 29 about 58 in each quarter */
        params.gain_index[1] = 29;
        params.rs_index = 0; /* the most periodic row */
        params.as_index = 1;

        DecoderState dec;
        decoder_reset(&dec);
        const int frames = lag; /* 240 lag samples: whole cycles */
        std::vector<double> x;
        double level = 0.0, gain = 0.0;
        for (int t = -4; t < frames; t++) {
            int16_t pcm[FRAME_LEN];
            decoder_synthesise(&dec, &params, pcm);
            if (t < 0)
                continue;
            for (int i = 0; i < FRAME_LEN; i++) {
                x.push_back(static_cast<double>(dec.out_hist[OUT_PAST + i]));
                level += std::pow(static_cast<double>(dec.syn_hist[SYN_PAST + i]), 2.0) / (240.0 * frames);
            }
            for (int q = 1; q <= QUARTERS; q++)
                gain += static_cast<double>(dec.gain_hist[q]) / (4.0 * frames);
        }
        EXPECT_NEAR(20.0 * std::log10(std::sqrt(level) / (0.6 * gain)), 0.0, 0.5);

        float lpc[LPC_ORDER];
        ASSERT_EQ(lsf_to_lpc(LPC_ORDER, dec.lsf_prev, lpc), 0);
        double got[AS_DIM], want[AS_DIM], offset = 0.0;
        for (int k = 1; k <= AS_DIM; k++) {
            const double w = 2.0 * PI_D * k / lag;
            Wide sum = 0.0;
            for (size_t i = 0; i < x.size(); i++)
                sum += x[i] * std::polar(1.0, -w * static_cast<double>(i % static_cast<size_t>(lag)));
            got[k - 1] = 20.0 * std::log10(std::abs(sum) * 2.0 / static_cast<double>(x.size()));

            const auto zeros = [&lpc](double v) { return polynomial(lpc, pf_zero_weight, v); };
            const auto poles = [&lpc](double v) { return polynomial(lpc, pf_pole_weight, v); };
            const double G = (poles(0.0) / zeros(0.0)).real(), H = 0.5 * (poles(PI_D) / zeros(PI_D)).real();
            const Wide tilt = (1.0 - 0.2 * std::polar(1.0, 2.5 - w)) * (1.0 - 0.2 * std::polar(1.0, -2.5 - w));
            const double envelope = std::abs(1.0 / (polynomial(lpc, nullptr, w) * tilt) * zeros(w) / poles(w) *
                                             (0.5 * (G + H) + 0.5 * (G - H) * std::polar(1.0, -w)));
            want[k - 1] =
                20.0 * std::log10(static_cast<double>(as_codebook[AS_DIM * params.as_index + k - 1]) * envelope);
            offset += (got[k - 1] - want[k - 1]) / AS_DIM;
        }
        /* The level of the whole is tested above; the phases' magnitudes are 1 to within 0.7 %, which is 0.06 dB. */
        for (int k = 1; k <= AS_DIM; k++)
            EXPECT_NEAR(got[k - 1] - offset, want[k - 1], 0.5) << "harmonic " << k << ", dB";
    }
}

} // namespace
