/** Speed of the searching encoder: every effort on bundled speech, as times real time on one core, and the parts of a
 *  trial
 *
 *  Time is the thread's processor time. Efforts run on the copy of the search that an instance chooses for the
 *  processor, the parts on the copy for every machine in talv_search_bench and on that for AVX2 in
 *  talv_search_bench_avx2. Other work on the machine shows in the spread of the repetitions: take the least.
 */
#include "search/lag_path.h"
#include "search/loudness.h"
#include "search/search.h"
#include "tests/stream/host.h"

#include <benchmark/benchmark.h>
#include <memory>
#include <talvsearch.h>

namespace
{

using namespace talv;

constexpr int EFFORT_FRAMES = 100; /* 3 s */

/** The first of a bundled clip */
test::Pcm speech(int frames)
{
    const test::Pcm &pcm = test::clips()[1].pcm;
    return test::Pcm(pcm.begin() + 10 * FRAME_LEN, pcm.begin() + (10 + frames) * FRAME_LEN);
}

void effort(benchmark::State &state)
{
    const test::Pcm pcm = speech(EFFORT_FRAMES);
    TALV_Search *search = nullptr;
    TALV_SearchOpen(&search, static_cast<int32_t>(state.range(0)));
    for (auto _ : state)
        for (size_t at = 0; at < pcm.size(); at += FRAME_LEN) {
            uint8_t frame[TALV_FRAME_BYTES];
            uint32_t bytes;
            TALV_SearchEncode(search, pcm.data() + at, frame, &bytes);
            benchmark::DoNotOptimize(frame);
        }
    TALV_SearchClose(search);
    const double seconds = static_cast<double>(pcm.size()) / TALV_SAMPLE_RATE;
    state.counters["x_realtime"] = benchmark::Counter(seconds, benchmark::Counter::kIsIterationInvariantRate);
}

/** A search in the middle of speech */
std::unique_ptr<SearchState> warm_search()
{
    const test::Pcm pcm = speech(20);
    auto search = std::make_unique<SearchState>();
    search_reset(search.get(), 2);
    FrameParams params;
    for (size_t at = 0; at < pcm.size(); at += FRAME_LEN)
        search_frame(search.get(), pcm.data() + at, &params);
    return search;
}

/** One choice for the frame to be sent, that frame and the next decoded and judged */
void part_trial(benchmark::State &state)
{
    const auto search = warm_search();
    for (auto _ : state) {
        settle(&search->trial, 0);
        benchmark::DoNotOptimize(search->trial.cost[0]);
    }
}

void part_frame_loudness(benchmark::State &state)
{
    const auto search = warm_search();
    Loudness loudness;
    for (auto _ : state) {
        frame_loudness(at(search->history.sig, 0), &loudness);
        benchmark::DoNotOptimize(loudness);
    }
}

void part_lag_path(benchmark::State &state)
{
    const auto search = warm_search();
    LagPoint points[FRAMES_MAX];
    for (auto _ : state) {
        lag_path_advance(&search->path, &search->history, points);
        benchmark::DoNotOptimize(points[0].lag);
    }
}

} // namespace

BENCHMARK(effort)->DenseRange(0, TALV_SEARCH_EFFORT_MAX)->Repetitions(3)->Unit(benchmark::kMillisecond);
BENCHMARK(part_trial)->Repetitions(3)->MinTime(0.1);
BENCHMARK(part_frame_loudness)->Repetitions(3)->MinTime(0.1);
BENCHMARK(part_lag_path)->Repetitions(3)->MinTime(0.1);

BENCHMARK_MAIN();
