/** Many threads: instances share nothing, and neither do the two directions of one. A program of its own, so that the
 *  thread sanitizer can watch it alone; run by itself it compares bits. */
#include "tests/stream/host.h"

#include <barrier>
#include <gtest/gtest.h>
#include <thread>
#include <utility>

#if defined(__SANITIZE_THREAD__)
#define TALV_WATCHED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TALV_WATCHED 1
#endif
#endif
#ifndef TALV_WATCHED
#define TALV_WATCHED 0
#endif

namespace
{

using namespace talv::test;

/* Watched, a call takes some ten times as long. */
constexpr size_t INSTANCES = 1000;
constexpr size_t THREADS = 8;
constexpr size_t FRAMES = TALV_WATCHED ? 3 : 10;
constexpr size_t DUPLEX_FRAMES = TALV_WATCHED ? 40 : 200;

/** Instance i's own stretch of the recordings */
const int16_t *input(size_t i)
{
    const Pcm &pcm = clips()[i % clips().size()].pcm;
    return pcm.data() + i * 997 % (pcm.size() - FRAMES * TALV_FRAME_SAMPLES);
}

using Results = std::pair<std::vector<std::vector<Frame>>, std::vector<Pcm>>;

/** All instances open at once, a frame of each in turn. An instance goes from thread to thread: a frame here, the next
 *  one there, closed by yet another. */
Results run(size_t thread_count)
{
    std::vector<TALV_Codec *> codecs(INSTANCES, nullptr);
    std::vector<std::vector<Frame>> frames(INSTANCES, std::vector<Frame>(FRAMES));
    std::vector<Pcm> out(INSTANCES, Pcm(FRAMES * TALV_FRAME_SAMPLES));
    std::barrier round(static_cast<std::ptrdiff_t>(thread_count));
    const auto work = [&](size_t thread) {
        const auto mine = [&](size_t t, auto action) {
            for (size_t i = (thread + t) % thread_count; i < INSTANCES; i += thread_count)
                action(i);
            round.arrive_and_wait();
        };
        mine(0, [&](size_t i) { ASSERT_EQ(TALV_CodecOpen(&codecs[i]), TALV_OK); });
        for (size_t t = 0; t < FRAMES; t++) {
            mine(t + 1, [&](size_t i) {
                frames[i][t] = encode_one(codecs[i], input(i) + t * TALV_FRAME_SAMPLES);
                decode_one(codecs[i], frames[i][t], out[i].data() + t * TALV_FRAME_SAMPLES);
            });
        }
        mine(FRAMES + 1, [&](size_t i) { TALV_CodecClose(codecs[i]); });
    };
    std::vector<std::thread> threads;
    for (size_t thread = 0; thread < thread_count; thread++)
        threads.emplace_back(work, thread);
    for (std::thread &thread : threads)
        thread.join();
    return {frames, out};
}

TEST(Threads, AThousandInstancesOnEightGiveTheBitsOfOne)
{
    clips(); /* read before the threads ask for them */
    EXPECT_TRUE(run(THREADS) == run(1));
}

/** A stream with a reset of its direction at `reset_at`, the other direction of the instance being busy meanwhile */
std::vector<Frame> encode_part(TALV_Codec *codec, const Pcm &pcm, size_t reset_at)
{
    std::vector<Frame> frames;
    for (size_t t = 0; t < DUPLEX_FRAMES; t++) {
        if (t == reset_at)
            TALV_EncodeInit(codec);
        frames.push_back(encode_one(codec, pcm.data() + t * TALV_FRAME_SAMPLES));
    }
    return frames;
}

Pcm decode_part(TALV_Codec *codec, const std::vector<Frame> &frames, size_t reset_at)
{
    Pcm pcm(frames.size() * TALV_FRAME_SAMPLES);
    for (size_t t = 0; t < frames.size(); t++) {
        if (t == reset_at)
            TALV_DecodeInit(codec);
        decode_one(codec, frames[t], pcm.data() + t * TALV_FRAME_SAMPLES);
    }
    return pcm;
}

TEST(Threads, BothDirectionsOfOneInstanceAtOnce)
{
    Pcm pcm, heard; /* two speeches long enough */
    for (size_t clip = 0; pcm.size() < DUPLEX_FRAMES * TALV_FRAME_SAMPLES; clip++) {
        pcm.insert(pcm.end(), clips()[clip].pcm.begin(), clips()[clip].pcm.end());
        heard.insert(heard.begin(), clips()[clip].pcm.begin(), clips()[clip].pcm.end());
    }
    const std::vector<Frame> received = encode_part(open_codec().get(), heard, DUPLEX_FRAMES);
    for (size_t reset_at : {DUPLEX_FRAMES / 2, DUPLEX_FRAMES / 3}) {
        const std::vector<Frame> want_frames = encode_part(open_codec().get(), pcm, reset_at);
        const Pcm want_out = decode_part(open_codec().get(), received, DUPLEX_FRAMES - reset_at);
        const Codec shared = open_codec();
        std::vector<Frame> frames;
        Pcm out;
        std::thread encoder([&] { frames = encode_part(shared.get(), pcm, reset_at); });
        std::thread decoder([&] { out = decode_part(shared.get(), received, DUPLEX_FRAMES - reset_at); });
        encoder.join();
        decoder.join();
        EXPECT_EQ(frames, want_frames);
        EXPECT_EQ(out, want_out);
    }
}

} // namespace
