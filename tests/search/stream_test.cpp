/* The searching encoder as a host uses it, and its mirror of the decoder */
#include "decoder/decoder.h"
#include "search/dispatch.h"
#include "search/search.h"
#include "tests/stream/host.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <talvsearch.h>

namespace talv
{
namespace
{

using test::Frame;
using test::Pcm;

struct CloseSearch {
    void operator()(TALV_Search *search) const { TALV_SearchClose(search); }
};
using Search = std::unique_ptr<TALV_Search, CloseSearch>;

Search open_search(int effort)
{
    TALV_Search *search = nullptr;
    EXPECT_EQ(TALV_SearchOpen(&search, effort), TALV_OK);
    return Search(search);
}

/** All frames of a signal, what is held back included */
std::vector<Frame> encode(TALV_Search *search, const Pcm &pcm)
{
    std::vector<Frame> frames;
    Frame frame;
    uint32_t bytes = 0;
    for (size_t at = 0; at + TALV_FRAME_SAMPLES <= pcm.size(); at += TALV_FRAME_SAMPLES) {
        EXPECT_EQ(TALV_SearchEncode(search, pcm.data() + at, frame.data(), &bytes), TALV_OK);
        if (bytes > 0)
            frames.push_back(frame);
    }
    while (TALV_SearchFlush(search, frame.data(), &bytes) == TALV_OK && bytes > 0)
        frames.push_back(frame);
    return frames;
}

std::vector<Frame> encode(int effort, const Pcm &pcm)
{
    return encode(open_search(effort).get(), pcm);
}

/** The first frames of a bundled clip */
Pcm clip(const char *name, int frames)
{
    for (const test::Clip &c : test::clips())
        if (c.name == name)
            return Pcm(c.pcm.begin(), c.pcm.begin() + frames * TALV_FRAME_SAMPLES);
    throw std::runtime_error(std::string("no clip ") + name);
}

TEST(SearchStream, OpensWithTheEffortsThereAre)
{
    TALV_Search *search = nullptr;
    EXPECT_EQ(TALV_SearchOpen(&search, -1), TALV_NO_SUCH_EFFORT);
    EXPECT_EQ(search, nullptr);
    EXPECT_EQ(TALV_SearchOpen(&search, TALV_SEARCH_EFFORT_MAX + 1), TALV_NO_SUCH_EFFORT);
    EXPECT_EQ(TALV_SearchClose(nullptr), TALV_OK);
}

TEST(SearchStream, EffortNoneIsThePlainEncoder)
{
    const Pcm pcm = clip("en_m_libri", 60);
    EXPECT_EQ(encode(0, pcm), test::encode(pcm));
}

TEST(SearchStream, GivesAFrameABlockAndHoldsBackWhatItSays)
{
    const Pcm pcm = clip("en_f_lj", 8);
    for (int effort = 0; effort <= TALV_SEARCH_EFFORT_MAX; effort++) {
        const Search search = open_search(effort);
        Frame frame;
        uint32_t bytes = 99;
        size_t given = 0;
        for (size_t t = 0; t < 8; t++) {
            TALV_SearchEncode(search.get(), pcm.data() + t * TALV_FRAME_SAMPLES, frame.data(), &bytes);
            given += bytes / TALV_FRAME_BYTES;
            EXPECT_EQ(bytes, effort == 5 && t < 2 ? 0u : TALV_FRAME_BYTES) << "effort " << effort << ", call " << t;
        }
        while (TALV_SearchFlush(search.get(), frame.data(), &bytes) == TALV_OK && bytes > 0)
            given++;
        EXPECT_EQ(given, 8u) << "effort " << effort;
        EXPECT_EQ(TALV_SearchFlush(search.get(), frame.data(), &bytes), TALV_OK);
        EXPECT_EQ(bytes, 0u);
    }
    EXPECT_EQ(encode(5, clip("en_f_lj", 1)).size(), 1u); /* a stream shorter than what is held back */
}

TEST(SearchStream, StartsAnewAfterAReset)
{
    const Pcm pcm = clip("it_m_asterisk", 20);
    for (int effort : {1, 2, 5}) {
        const Search search = open_search(effort);
        const std::vector<Frame> first = encode(search.get(), pcm);
        EXPECT_EQ(TALV_SearchReset(search.get()), TALV_OK);
        EXPECT_EQ(encode(search.get(), pcm), first) << "effort " << effort;
        const Search other = open_search(effort);
        EXPECT_EQ(encode(other.get(), pcm), first) << "effort " << effort;
    }
}

/** FNV-1a over frames */
uint64_t digest(const std::vector<Frame> &frames)
{
    uint64_t hash = 0xCBF29CE484222325u;
    for (const Frame &frame : frames)
        for (uint8_t byte : frame)
            hash = (hash ^ byte) * 0x100000001B3u;
    return hash;
}

TEST(SearchStream, TheSameFramesOnEveryMachine)
{
    const Pcm pcm = clip("ru_f_asterisk", 40);
    const uint64_t wanted[] = {847481480329977108u, 13790587225741450714u, 15190587490183787495u, 15613609210210612812u,
                               12495880462574969536u};
    for (int effort = 1; effort <= TALV_SEARCH_EFFORT_MAX; effort++)
        EXPECT_EQ(digest(encode(effort, pcm)), wanted[effort - 1]) << "effort " << effort;
}

/** The driver of one copy of the search, on its own state */
std::vector<uint64_t> run_copy(const SearchRoutines *routines, const Pcm &pcm, int effort)
{
    void *state = std::aligned_alloc(routines->state_align, (routines->state_size + 63) / 64 * 64);
    routines->reset(state, effort);
    std::vector<uint64_t> frames;
    for (size_t at = 0; at + TALV_FRAME_SAMPLES <= pcm.size(); at += TALV_FRAME_SAMPLES) {
        FrameParams params;
        routines->frame(state, pcm.data() + at, &params);
        uint64_t frame = 0;
        frame_pack(&params, reinterpret_cast<uint8_t *>(&frame));
        frames.push_back(frame);
    }
    std::free(state);
    return frames;
}

TEST(SearchStream, BothCopiesChooseTheSame)
{
    if (choose_search() == &baseline_search)
        GTEST_SKIP() << "this machine can run only one copy";
    Pcm pcm = clip("en_child_f_so762", 30);
    const Pcm loud = test::to_pcm(test::noise(20 * FRAME_LEN, 32767.0, 3));
    pcm.insert(pcm.end(), loud.begin(), loud.end());
    EXPECT_EQ(run_copy(&baseline_search, pcm, 3), run_copy(choose_search(), pcm, 3));
}

TEST(SearchMirror, HearsWhatTheDecoderPlays)
{
    Pcm pcm = clip("en_m_jfk", 30);
    const Pcm loud = test::to_pcm(test::voiced(10 * FRAME_LEN, 40.0, 90.0, 30000.0, 8));
    pcm.insert(pcm.end(), loud.begin(), loud.end());
    for (int effort : {2, 5}) {
        const auto search = std::make_unique<SearchState>();
        search_reset(search.get(), effort);
        DecoderState decoder;
        decoder_reset(&decoder);
        for (size_t at = 0; at < pcm.size(); at += TALV_FRAME_SAMPLES) {
            FrameParams params;
            int16_t out[FRAME_LEN];
            search_frame(search.get(), pcm.data() + at, &params);
            decoder_synthesise(&decoder, &params, out);
            const DecoderState &mirrored = search->trial.before[1].dec;
            ASSERT_TRUE(test::same_bits(mirrored.out_hist, decoder.out_hist, 250)) << "frame " << at / FRAME_LEN;
            ASSERT_EQ(mirrored.noise_seed, decoder.noise_seed);
            ASSERT_TRUE(test::same_bits(mirrored.cycle_phase, decoder.cycle_phase));
        }
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST(SearchStream, NeedsNoMoreStackThanItSays)
{
    /* A thread with 64 KiB for the call and 16 KiB for what a thread itself needs: beyond lies a page that faults. */
    const Pcm pcm = clip("zh_f_gcin", 6);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 80 * 1024), 0);
    for (int effort : {1, 5}) {
        struct Call {
            TALV_Search *search;
            const Pcm *pcm;
        } call = {open_search(effort).release(), &pcm};
        pthread_t thread;
        const auto run = [](void *argument) -> void * {
            const Call *c = static_cast<const Call *>(argument);
            uint8_t frame[TALV_FRAME_BYTES];
            uint32_t bytes;
            for (size_t at = 0; at < c->pcm->size(); at += TALV_FRAME_SAMPLES)
                TALV_SearchEncode(c->search, c->pcm->data() + at, frame, &bytes);
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, &attributes, run, &call), 0);
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
        TALV_SearchClose(call.search);
    }
    pthread_attr_destroy(&attributes);
}

#endif

/** Level of each block, dB over an RMS of 1 */
std::vector<double> levels(const Pcm &pcm)
{
    std::vector<double> out;
    for (size_t at = 0; at + 60 <= pcm.size(); at += 60) {
        double sum = 1.0;
        for (size_t n = at; n < at + 60; n++)
            sum += static_cast<double>(pcm[n]) * pcm[n] / 60.0;
        out.push_back(10.0 * std::log10(sum));
    }
    return out;
}

/** Mean difference between the levels of a signal and of what it is decoded to, 480 samples later */
double level_error(const Pcm &pcm, const std::vector<Frame> &frames)
{
    const std::vector<double> wanted = levels(pcm), got = levels(test::decode(frames));
    double sum = 0.0;
    for (size_t i = 0; i + 8 < got.size(); i++)
        sum += std::fabs(wanted[i] - got[i + 8]);
    return sum / static_cast<double>(got.size() - 8);
}

TEST(SearchStream, FollowsTheSpeechMoreCloselyThanThePlainEncoder)
{
    /* Levels of quarter frames: wrong by much if a stream were shifted by even half a frame */
    const Pcm pcm = clip("en_f_libri", 60);
    const double plain = level_error(pcm, encode(0, pcm));
    for (int effort : {2, 5})
        EXPECT_LT(level_error(pcm, encode(effort, pcm)), 0.85 * plain) << "effort " << effort;
}

TEST(SearchStream, SilenceIsThePlainEncodersSilence)
{
    const Pcm silence(12 * TALV_FRAME_SAMPLES, 0);
    const std::vector<Frame> plain = encode(0, silence);
    for (int effort : {2, 3, 5})
        EXPECT_EQ(encode(effort, silence), plain) << "effort " << effort;
}

/** Power of a tone in a signal and of the whole signal, dB over that of a sine of amplitude 2000 */
std::pair<double, double> tone_and_whole(const Pcm &pcm, double hz)
{
    double power = 0.0, re = 0.0, im = 0.0;
    for (size_t n = 0; n < pcm.size(); n++) {
        const double v = pcm[n], w = 2.0 * 3.14159265358979 * hz * static_cast<double>(n) / 8000.0;
        power += v * v;
        re += v * std::cos(w);
        im += v * std::sin(w);
    }
    const double n = static_cast<double>(pcm.size()), sine = 2000.0 * 2000.0 / 2.0;
    return {10.0 * std::log10(2.0 * (re * re + im * im) / (n * n) / sine), 10.0 * std::log10(power / n / sine)};
}

TEST(SearchStream, TonesComeOutNoLouderThanFromThePlainEncoder)
{
    for (double hz : {440.0, 1000.0, 2000.0}) {
        const Pcm pcm = test::to_pcm(test::tone(30 * FRAME_LEN, hz, 2000.0));
        Pcm searched, plain;
        test::captured([&] { /* the plain encoder speaks of tones */
                             searched = test::decode(encode(2, pcm));
                             plain = test::decode(encode(0, pcm));
        });
        searched.erase(searched.begin(), searched.begin() + 10 * FRAME_LEN);
        plain.erase(plain.begin(), plain.begin() + 10 * FRAME_LEN);
        const auto [tone, whole] = tone_and_whole(searched, hz);
        const auto [plain_tone, plain_whole] = tone_and_whole(plain, hz);
        EXPECT_LE(whole, plain_whole + 1.0) << hz << " Hz";
        EXPECT_GE(tone - whole, plain_tone - plain_whole - 3.0) << hz << " Hz: no less of a tone";
    }
}

} // namespace
} // namespace talv
