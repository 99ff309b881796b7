/** Speed on the bundled speech, as times real time on one core, and the time of the heavy inner routines
 *
 *    talv_bench                          everything
 *    talv_bench --benchmark_filter=codec  whole directions alone
 *
 *  The machine, the compiler and its build type stand in the first lines. A benchmark is repeated. Every repetition is
 *  shown, and at the end the best of each, which is the figure that other work on the machine has disturbed least, with
 *  how much slower the slowest was. Time is the thread's processor time. Whole directions run on the copy of the blocks
 *  that an instance chooses for the processor; single stages run on the copy for every machine in talv_bench, and on
 *  that for processors with AVX2 in talv_bench_avx2.
 */
#include "codec/frame.h"
#include "decoder/interpolate.h"
#include "decoder/pcm.h"
#include "decoder/postfilter.h"
#include "decoder/tracks.h"
#include "decoder/waveform.h"
#include "dsp/as_codebook.h"
#include "dsp/fft.h"
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/vq.h"
#include "encoder/conditioning.h"
#include "encoder/cycle.h"
#include "encoder/gain.h"
#include "encoder/lpc.h"
#include "encoder/pitch.h"
#include "encoder/rs.h"
#include "tests/stream/host.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <unistd.h>

namespace
{

using namespace talv;

constexpr int REPETITIONS = 7;
const char *const X_REALTIME = "x_realtime";

/** All bundled speech in one piece, whole frames */
const test::Pcm &speech()
{
    static const test::Pcm pcm = [] {
        test::Pcm all;
        for (const test::Clip &clip : test::clips())
            all.insert(all.end(), clip.pcm.begin(), clip.pcm.end());
        all.resize(all.size() / FRAME_LEN * FRAME_LEN);
        return all;
    }();
    return pcm;
}

/** Seconds of audio that one second of work gets through */
void count_audio(benchmark::State &state)
{
    const double seconds = static_cast<double>(speech().size()) / TALV_SAMPLE_RATE;
    state.counters[X_REALTIME] = benchmark::Counter(seconds, benchmark::Counter::kIsIterationInvariantRate);
}

void codec_encode(benchmark::State &state)
{
    const test::Codec codec = test::open_codec();
    for (auto _ : state)
        benchmark::DoNotOptimize(test::encode(codec.get(), speech()));
    count_audio(state);
}

void codec_decode(benchmark::State &state)
{
    const std::vector<test::Frame> frames = test::encode(speech());
    const test::Codec codec = test::open_codec();
    for (auto _ : state)
        benchmark::DoNotOptimize(test::decode(codec.get(), frames));
    count_audio(state);
}

/** A second of voiced speech as floats, and the start of a block in it with enough past */
struct Block {
    std::vector<float> signal;
    const float *x;

    Block()
    {
        const test::Pcm &pcm = speech();
        const size_t middle = std::min<size_t>(pcm.size() / 2, 20 * TALV_SAMPLE_RATE) / FRAME_LEN * FRAME_LEN;
        signal.assign(pcm.begin() + static_cast<std::ptrdiff_t>(middle - 8 * FRAME_LEN),
                      pcm.begin() + static_cast<std::ptrdiff_t>(middle + 8 * FRAME_LEN));
        x = signal.data() + 8 * FRAME_LEN;
    }
};

void stage_getlsf2(benchmark::State &state)
{
    const Block block;
    float lsf[LSF_STORE];
    for (auto _ : state)
        benchmark::DoNotOptimize(getlsf2(block.x, FRAME_LEN, LPC_ORDER, lsf));
}

void stage_iir_prefilter(benchmark::State &state)
{
    const int16_t *pcm = speech().data() + 30 * FRAME_LEN;
    float out[FRAME_LEN], memory[5] = {};
    for (auto _ : state) {
        iir_prefilter(prefilter_den, prefilter_num, pcm, out, memory, FRAME_LEN);
        benchmark::DoNotOptimize(out[0]);
    }
}

void stage_sym_fir_17(benchmark::State &state)
{
    const Block block;
    float out[FRAME_LEN], memory[17] = {};
    for (auto _ : state) {
        sym_fir(LP_ORDER, lp_taps, FRAME_LEN, block.x, out, memory);
        benchmark::DoNotOptimize(out[0]);
    }
}

void stage_pitch_search(benchmark::State &state)
{
    const Block block;
    for (auto _ : state) {
        int32_t lag;
        float corr;
        pitch_search(MAX_SEGMENTS, FRAME_LEN, LAG_MIN, LAG_MAX, block.x, &lag, &corr);
        benchmark::DoNotOptimize(lag);
    }
}

/** The widest range of lags: 50 to 160 */
void stage_rs_analysis(benchmark::State &state)
{
    const Block block;
    for (auto _ : state) {
        int32_t lag_lo, lag_hi;
        float rs[2];
        rs_lag_range(100, &lag_lo, &lag_hi);
        rs_values(block.x, lag_lo, lag_hi, rs);
        benchmark::DoNotOptimize(rs[0]);
    }
}

void stage_cycle_analysis(benchmark::State &state)
{
    const Block block;
    const int P = 80;
    float cycle[LAG_MAX + 3], coef[LAG_MAX + 3], points[FFT_MAX], as[AS_DIM];
    Complex spectrum[FFT_MAX / 2 + 1];
    for (auto _ : state) {
        cycle_fold(P, FRAME_LEN / P, block.x - 120, cycle + 1);
        cycle_resample(P, cycle + 1, coef + 1, FFT_MAX, points);
        real_fft(points, spectrum, FFT_MAX, FFT_MAX, fft_bitrev, fft_twiddle);
        cycle_amplitudes(AS_DIM, spectrum, as);
        benchmark::DoNotOptimize(as[0]);
    }
}

void stage_vq_search_as(benchmark::State &state)
{
    for (auto _ : state) {
        float vector[AS_DIM];
        int32_t index;
        std::fill(vector, vector + AS_DIM, 1.0f);
        vq_search(AS_DIM, AS_DIM, vector, AS_ROWS, as_codebook, &index);
        benchmark::DoNotOptimize(index);
    }
}

void stage_msvq_search(benchmark::State &state)
{
    const float target[QUARTERS] = {11.0f, 17.0f, 16.0f, 9.0f};
    for (auto _ : state) {
        float work[QUARTERS];
        int32_t index[GAIN_STAGES];
        msvq_search(QUARTERS, gain_stage_sizes, gain_codebook, target, work, index);
        benchmark::DoNotOptimize(index[0]);
    }
}

void stage_dc_tracker(benchmark::State &state)
{
    Block block;
    float mean = 0.0f;
    for (auto _ : state) {
        dc_tracker(FRAME_LEN, &mean, block.signal.data() + 8 * FRAME_LEN);
        benchmark::DoNotOptimize(mean);
    }
}

/** LSFs of two neighbouring moments, and of four between them the residual of a block */
void stage_residual(benchmark::State &state)
{
    const Block block;
    const float from[LPC_ORDER] = {0.2f, 0.35f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.8f};
    const float to[LPC_ORDER] = {0.25f, 0.4f, 0.55f, 0.95f, 1.15f, 1.6f, 1.8f, 2.2f, 2.45f, 2.7f};
    float lpc[4][LPC_ORDER], out[FRAME_LEN];
    for (auto _ : state) {
        intrp_lsf_lpc(from, to, LPC_ORDER, 4, lpc[0]);
        for (int j = 0; j < 4; j++)
            lpc_residual(LPC_ORDER, FRAME_LEN / 4, block.x + FRAME_LEN / 4 * j, lpc[j], out + FRAME_LEN / 4 * j);
        add_floor_noise(FRAME_LEN, out);
        benchmark::DoNotOptimize(out[0]);
    }
}

void stage_lsf_quant(benchmark::State &state)
{
    const float lsf[LPC_ORDER] = {0.2f, 0.35f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.8f};
    int32_t index[LPC_ORDER];
    for (auto _ : state) {
        lsf_quant(lsf, index, LPC_ORDER, lsf_levels, lsf_level_counts);
        benchmark::DoNotOptimize(index[0]);
    }
}

void stage_sym_fir_5(benchmark::State &state)
{
    const Block block;
    float out[FRAME_LEN], memory[5] = {};
    for (auto _ : state) {
        sym_fir(RS_ORDER, rs_taps, FRAME_LEN, block.x, out, memory);
        benchmark::DoNotOptimize(out[0]);
    }
}

void stage_pitch_track(benchmark::State &state)
{
    for (auto _ : state) {
        float corr[3] = {0.8f, 0.4f, 0.9f};
        int32_t pitch[3] = {60, 119, 62}, settled;
        pitch_track(corr, pitch, &settled);
        benchmark::DoNotOptimize(settled);
    }
}

void stage_subframe_rms(benchmark::State &state)
{
    const Block block;
    float gains[QUARTERS];
    for (auto _ : state) {
        subframe_rms(block.x - FRAME_LEN, FRAME_LEN, 80, QUARTERS, gains);
        benchmark::DoNotOptimize(gains[0]);
    }
}

void stage_frame_format(benchmark::State &state)
{
    FrameParams params = {55, {7, 9, 3, 4, 2, 5, 6, 1, 3, 2}, {11, 23}, 17, 101};
    uint8_t frame[TALV_FRAME_BYTES];
    for (auto _ : state) {
        frame_pack(&params, frame);
        frame_unpack(frame, &params);
        benchmark::DoNotOptimize(params.as_index);
    }
}

/** An envelope like that of speech */
struct Envelope {
    float lpc[LPC_ORDER];
    float poly[POLY_TERMS];

    Envelope()
    {
        const float lsf[LPC_ORDER] = {0.2f, 0.35f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.8f};
        lsf_to_lpc(LPC_ORDER, lsf, lpc);
        tilted_poly(lpc, 0.32045746f, 0.04f, poly);
    }
};

/** All parameters of a frame, from indices to one value a subframe */
void stage_tracks(benchmark::State &state)
{
    const int32_t lag = static_cast<int32_t>(state.range(0));
    const int32_t lsf_index[LPC_ORDER] = {7, 9, 3, 4, 2, 5, 6, 1, 3, 2}, gain_index[GAIN_STAGES] = {11, 23};
    const float lsf_from[LPC_ORDER] = {0.2f, 0.35f, 0.6f, 0.9f, 1.2f, 1.5f, 1.8f, 2.1f, 2.4f, 2.8f};
    const float as_from[AS_DIM] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    float lsf[LPC_ORDER], lpc[MAX_SUBFRAMES][LPC_ORDER], rs[MAX_SUBFRAMES], as_to[AS_DIM], as[AS_DIM];
    float rs_hist[5] = {}, gain_hist[QUARTERS + 1] = {}, gain_track[MAX_SUBFRAMES + 1] = {};
    int32_t K, bounds[MAX_SUBFRAMES + 1], pitch[MAX_SUBFRAMES];
    for (auto _ : state) {
        subframe_grid(lag, FRAME_LEN, 2, MAX_SUBFRAMES, 2.0f, &K, bounds);
        lsf_dequant(lsf, lsf_index, LPC_ORDER, lsf_levels, lsf_level_counts);
        lsf_stabilize(lsf, LPC_ORDER, LSF_SPACING_DECODED);
        intrp_lsf_lpc(lsf_from, lsf, LPC_ORDER, K, lpc[0]);
        pitch_interp(lag - 4, lag, K, pitch);
        ivsvq2(RS_DIM, RS_DIM, rs_hist + 2, RS_ROWS, rs_codebook, 17);
        rs_expand(RS_DIM, rs_hist + 2);
        rs_interp(RS_DIM, rs_hist + 1, K, rs);
        ivsvq2(AS_DIM, AS_DIM, as_to, AS_ROWS, as_codebook, 101);
        as_step(AS_DIM, as_from, as_to, K, as);
        msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, gain_hist + 1, gain_index);
        gain_interp(QUARTERS, gain_hist + 1, K, GAIN_ONSET, gain_track + 1);
        benchmark::DoNotOptimize(lpc[0][0]);
        benchmark::DoNotOptimize(gain_track[1]);
    }
}

void stage_noise_profile(benchmark::State &state)
{
    const int h = static_cast<int>(state.range(0)) / 2;
    float noise[SPECTRUM_ROOM];
    for (auto _ : state) {
        noise_profile(h, h, 0.25f, noise);
        benchmark::DoNotOptimize(noise[0]);
    }
}

void stage_real_ifft(benchmark::State &state)
{
    const int n = static_cast<int>(state.range(0));
    Spectrum spectrum = {};
    float samples[FFT_MAX];
    for (int i = 0; i <= n / 2; i++) {
        spectrum.re[i] = static_cast<float>(n - i);
        spectrum.im[i] = i % (n / 2) == 0 ? 0.0f : 3.0f;
    }
    for (auto _ : state) {
        real_ifft(&spectrum, samples, n, FFT_MAX, fft_bitrev, fft_twiddle);
        benchmark::DoNotOptimize(samples[0]);
    }
}

void stage_lpc_spectrum(benchmark::State &state)
{
    const Envelope envelope;
    const int p = static_cast<int>(state.range(0));
    Spectrum out;
    for (auto _ : state) {
        lpc_spectrum(envelope.poly, POLY_TERMS, p, &out);
        benchmark::DoNotOptimize(out.re[0]);
    }
}

/** One subframe's cycle, from weights to spline coefficients */
void stage_cycle_synthesis(benchmark::State &state)
{
    const Envelope envelope;
    const int p = static_cast<int>(state.range(0)), h = p / 2;
    float amp[1][AMP_ROOM], cycle[CYCLE_STORE];
    std::fill_n(amp[0], AMP_ROOM, 1.0f);
    Spectrum spec, *const whole = &spec;
    const float rs = 0.25f, gain = 100.0f;
    uint32_t seed = 4385;
    for (auto _ : state) {
        int32_t n;
        fft_size_for(p, FFT_MAX, &n);
        lpc_spectrum(envelope.poly, POLY_TERMS, p, &spec);
        float energy, factor;
        divide_excitations(&seed, 1, h, &rs, amp, &whole, &energy);
        level_factors(1, &p, &n, &gain, &energy, &factor);
        finish_spectrum(p, n, factor, &spec);
        real_ifft(&spec, cycle + 1, n, FFT_MAX, fft_bitrev, fft_twiddle);
        benchmark::DoNotOptimize(cycle[1]);
    }
}

void stage_cw_interpolate(benchmark::State &state)
{
    float old_cycle[CYCLE_STORE] = {}, new_cycle[CYCLE_STORE] = {}, out[60], phase = 0.0f;
    for (auto _ : state) {
        cw_interpolate(128, 128, old_cycle + 1, new_cycle + 1, 120, 115, 60, out, &phase);
        benchmark::DoNotOptimize(out[0]);
    }
}

void stage_postfilter(benchmark::State &state)
{
    const Envelope envelope;
    const Block block;
    float out[10 + 60] = {};
    for (auto _ : state) {
        float num[LPC_ORDER + 1], den[LPC_ORDER];
        for (int j = 0; j < LPC_ORDER; j++) {
            num[j] = envelope.lpc[j] * pf_zero_weight[j];
            den[j] = envelope.lpc[j] * pf_pole_weight[j];
        }
        postfilter(LPC_ORDER, num, den, 60, block.x, out + 10);
        benchmark::DoNotOptimize(out[10]);
    }
}

void stage_pcm_round(benchmark::State &state)
{
    const Block block;
    int16_t pcm[FRAME_LEN];
    for (auto _ : state) {
        pcm_round(FRAME_LEN, block.x, pcm);
        benchmark::DoNotOptimize(pcm[0]);
    }
}

/** Shows every repetition, then the best of each benchmark */
class BestReporter : public benchmark::ConsoleReporter
{
public:
    BestReporter() : ConsoleReporter(isatty(STDOUT_FILENO) != 0 ? OO_Defaults : OO_None) {}

    void ReportRuns(const std::vector<Run> &runs) override
    {
        std::vector<Run> single;
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration)
                single.push_back(run);
        if (!single.empty())
            ConsoleReporter::ReportRuns(single);
        for (const Run &run : single) {
            if (run.error_occurred)
                continue;
            const std::string &args = run.run_name.args;
            Best &best = best_[run.run_name.function_name + (args.empty() ? "" : "/" + args)];
            const double ns = run.cpu_accumulated_time * 1e9 / static_cast<double>(run.iterations);
            const auto counter = run.counters.find(X_REALTIME);
            best.ns = best.runs == 0 ? ns : std::min(best.ns, ns);
            best.slowest_ns = std::max(best.slowest_ns, ns);
            if (counter != run.counters.end())
                best.x_realtime = std::max(best.x_realtime, counter->second.value);
            best.runs++;
        }
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        std::printf("\nBest of the repetitions, one core\n");
        for (const auto &[name, best] : best_) {
            std::printf("%-28s %12.0f ns, slowest of %d %+.0f %%", name.c_str(), best.ns, best.runs,
                        100.0 * (best.slowest_ns / best.ns - 1.0));
            if (best.x_realtime > 0.0)
                std::printf(", %s %.0f", X_REALTIME, best.x_realtime);
            std::printf("\n");
        }
    }

private:
    struct Best {
        double ns = 0.0, slowest_ns = 0.0, x_realtime = 0.0;
        int runs = 0;
    };
    std::map<std::string, Best> best_;
};

} // namespace

BENCHMARK(codec_encode)->Repetitions(REPETITIONS)->Unit(benchmark::kMillisecond);
BENCHMARK(codec_decode)->Repetitions(REPETITIONS)->Unit(benchmark::kMillisecond);
BENCHMARK(stage_iir_prefilter)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_dc_tracker)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_getlsf2)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_residual)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_lsf_quant)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_sym_fir_17)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_pitch_search)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_pitch_track)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_sym_fir_5)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_rs_analysis)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_cycle_analysis)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_vq_search_as)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_subframe_rms)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_msvq_search)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_frame_format)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_tracks)->Arg(40)->Arg(140)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_noise_profile)->Arg(40)->Arg(140)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_real_ifft)->Arg(32)->Arg(128)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_lpc_spectrum)->Arg(40)->Arg(140)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_cycle_synthesis)->Arg(40)->Arg(140)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_cw_interpolate)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_postfilter)->Repetitions(3)->MinTime(0.1);
BENCHMARK(stage_pcm_round)->Repetitions(3)->MinTime(0.1);

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::AddCustomContext("build", TALV_BENCH_BUILD);
    BestReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
