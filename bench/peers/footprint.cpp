/** What an instance costs besides time, and how its time grows with the number of instances
 *
 *    talv_footprint LIBRARY [ROUNDS]
 *
 *  Loading:   dlopen() with all symbols bound and dlclose(), file in the page cache; least of many.
 *  Opening:   TALV_CodecOpen and TALV_CodecClose a batch at a time, least of many: on heap memory that was used before,
 *             and on pages that the system has yet to provide, whose cost is the system's.
 *  Memory:    the heap block of an instance; the deepest stack below the call of the host over all bundled speech, found
 *             by painting the stack. That speech prints no message; the stack of printf is not in it.
 *  Growth:    1 to 10,000 instances served in turn, a frame each, and the same on two threads at once. Instances run
 *             through the same 40 frames of speech, each 1 frame behind its neighbour, so that any 40 calls are the same
 *             work whatever the number of instances. A piece is 40 calls, timed in every round.
 *
 *  Figures of time are undisturbed costs (timing.h). Written to standard output, a line each: name, value.
 */
#include "library.h"
#include "speech.h"
#include "timing.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <malloc.h>
#include <thread>
#include <ucontext.h>

namespace
{

using namespace talv::bench;

constexpr size_t FRAME = TALV_FRAME_SAMPLES;
constexpr size_t LOOP = 40;   /* frames of speech that the instances go round */
constexpr size_t WARM_UP = 5; /* rounds before the first timed one            */
constexpr size_t LOAD_TIMES = 200;
constexpr size_t BATCH = 16; /* instances, opened and then closed            */
constexpr size_t BATCHES = 4000;
constexpr size_t STACK = 256 * 1024;
constexpr unsigned char PAINT = 0xA5;

[[noreturn]] void fail(const std::string &what)
{
    throw std::runtime_error(what);
}

/** Before the library is loaded for good: as long as it is, dlopen() only counts */
void measure_loading(const char *path)
{
    double least_load = 1e30, least_unload = 1e30;
    for (size_t i = 0; i < LOAD_TIMES; i++) {
        void *handle = nullptr;
        least_load = std::min(least_load, timed_us([&] { handle = dlopen(path, RTLD_NOW | RTLD_LOCAL); }));
        if (handle == nullptr)
            fail(dlerror());
        least_unload = std::min(least_unload, timed_us([&] { dlclose(handle); }));
        if (dlopen(path, RTLD_NOW | RTLD_NOLOAD) != nullptr)
            fail("the library stays loaded");
    }
    std::printf("load_us %.1f\nunload_us %.1f\n", least_load, least_unload);
}

void measure_opening(const Library &library)
{
    TALV_Codec *codecs[BATCH];
    const auto batch = [&](const char *name, size_t batches, bool fresh) {
        double least_open = 1e30, least_close = 1e30;
        for (size_t i = 0; i < batches; i++) {
            if (fresh)
                malloc_trim(0);
            least_open = std::min(least_open, timed_us([&] {
                                      for (TALV_Codec *&codec : codecs)
                                          library.open(&codec);
                                  }));
            least_close = std::min(least_close, timed_us([&] {
                                       for (TALV_Codec *codec : codecs)
                                           library.close(codec);
                                   }));
        }
        std::printf("open_%s_us %.3f\nclose_%s_us %.3f\n", name, least_open / BATCH, name, least_close / BATCH);
    };
    batch("new_pages", BATCHES / 20, true);
    mallopt(M_TRIM_THRESHOLD, 64 << 20); /* from here on, freed memory stays with the process */
    batch("used_memory", BATCHES, false);
}

/** What runs on the painted stack: makecontext() passes no pointers */
struct Painted {
    const Library *build;
    TALV_Codec *codec;
    const int16_t *pcm;
    uint8_t frame[TALV_FRAME_BYTES];
    int16_t out[FRAME];
    bool decode;
    unsigned char *base;   /* lowest byte of the stack                   */
    unsigned char *caller; /* the stack pointer's place before the call  */
    size_t used;           /* bytes below it                             */
    ucontext_t host, inside;
} painted;

__attribute__((noinline)) void paint_and_call()
{
    uint32_t bytes;
    /* The frame address of this routine lies above all that the call will use; the routine's own few words, which hold
     * nothing large, are counted too. */
    painted.caller = static_cast<unsigned char *>(__builtin_frame_address(0));
    if (painted.decode)
        painted.build->decode(painted.codec, painted.frame, painted.out, &bytes);
    else
        painted.build->encode(painted.codec, painted.pcm, painted.frame, &bytes);
}

size_t stack_of_call(bool decode)
{
    static unsigned char stack[STACK];
    std::memset(stack, PAINT, STACK);
    painted.decode = decode;
    painted.base = stack;
    getcontext(&painted.inside);
    painted.inside.uc_stack.ss_sp = stack;
    painted.inside.uc_stack.ss_size = STACK;
    painted.inside.uc_link = &painted.host;
    makecontext(&painted.inside, paint_and_call, 0);
    swapcontext(&painted.host, &painted.inside);
    const unsigned char *deepest = stack;
    while (deepest < painted.caller && *deepest == PAINT)
        deepest++;
    if (deepest == stack)
        fail("the call used the whole of the painted stack");
    return static_cast<size_t>(painted.caller - deepest);
}

void measure_memory(const Library &library, const std::vector<int16_t> &speech)
{
    const auto codec = open_instance(library);
    std::printf("heap_bytes %zu\n", malloc_usable_size(codec.get()));
    painted.build = &library;
    painted.codec = codec.get();
    size_t encode_stack = 0, decode_stack = 0;
    for (size_t at = 0; at < speech.size(); at += FRAME) {
        painted.pcm = speech.data() + at;
        encode_stack = std::max(encode_stack, stack_of_call(false));
        decode_stack = std::max(decode_stack, stack_of_call(true));
    }
    std::printf("encode_stack_bytes %zu\ndecode_stack_bytes %zu\n", encode_stack, decode_stack);
}

/** Frames that every instance goes round, and what they encode to */
struct Circle {
    std::vector<int16_t> pcm;    /* [LOOP][FRAME]            */
    std::vector<uint8_t> frames; /* [LOOP][TALV_FRAME_BYTES] */
};

Circle circle_of(const Library &library, const std::vector<int16_t> &speech)
{
    Circle circle;
    const size_t middle = speech.size() / FRAME / 2 * FRAME;
    circle.pcm.assign(speech.begin() + static_cast<std::ptrdiff_t>(middle),
                      speech.begin() + static_cast<std::ptrdiff_t>(middle + LOOP * FRAME));
    circle.frames.resize(LOOP * TALV_FRAME_BYTES);
    const auto codec = open_instance(library);
    for (size_t pass = 0; pass < 2; pass++)
        for (size_t n = 0; n < LOOP; n++) {
            uint32_t bytes;
            library.encode(codec.get(), &circle.pcm[n * FRAME], &circle.frames[n * TALV_FRAME_BYTES], &bytes);
        }
    return circle;
}

/** Instances that are served in turn, a piece of LOOP calls at a time */
struct Farm {
    std::vector<std::shared_ptr<TALV_Codec>> codecs;
    PieceTimes encode_us, decode_us;
    size_t round = 0;

    /** count: 1 or a multiple of LOOP */
    Farm(const Library &library, size_t count)
    {
        for (size_t i = 0; i < count; i++)
            codecs.push_back(open_instance(library));
        encode_us.resize(std::max<size_t>(count / LOOP, 1));
        decode_us.resize(encode_us.size());
    }

    /** Every instance gets its next frame in both directions; a single one gets the whole circle */
    void serve(const Library &library, const Circle &circle, bool timed)
    {
        const auto piece = [&](PieceTimes *times, size_t p, auto call) {
            const double us = timed_us([&] {
                for (size_t n = 0; n < LOOP; n++)
                    call(codecs[codecs.size() == 1 ? 0 : p * LOOP + n].get(), (n + round) % LOOP);
            });
            if (timed)
                (*times)[p].push_back(us);
        };
        uint8_t frame[TALV_FRAME_BYTES];
        int16_t pcm[FRAME];
        uint32_t bytes;
        for (size_t p = 0; p < encode_us.size(); p++)
            piece(&encode_us, p,
                  [&](TALV_Codec *codec, size_t n) { library.encode(codec, &circle.pcm[n * FRAME], frame, &bytes); });
        for (size_t p = 0; p < decode_us.size(); p++)
            piece(&decode_us, p, [&](TALV_Codec *codec, size_t n) {
                library.decode(codec, &circle.frames[n * TALV_FRAME_BYTES], pcm, &bytes);
            });
        if (codecs.size() > 1)
            round++;
    }

    double encode_frame_us() const { return least_us(encode_us) / static_cast<double>(encode_us.size() * LOOP); }
    double decode_frame_us() const { return least_us(decode_us) / static_cast<double>(decode_us.size() * LOOP); }
};

void print_farm(size_t instances, size_t threads, double encode_us, double decode_us)
{
    std::printf("farm %zu %zu %.3f %.3f\n", instances, threads, encode_us, decode_us);
    std::fflush(stdout);
}

/** Instances on one thread. All numbers take turns round by round, so that none has a quieter machine than another. */
void measure_growth(const Library &library, const Circle &circle, size_t rounds)
{
    const size_t counts[] = {1, 40, 1000, 10000};
    std::vector<Farm> farms;
    for (const size_t count : counts)
        farms.emplace_back(library, count);
    for (size_t round = 0; round < WARM_UP + rounds; round++)
        for (Farm &farm : farms) {
            /* The few find the caches as they left them, not as the many did. */
            if (farm.codecs.size() <= LOOP)
                farm.serve(library, circle, false);
            farm.serve(library, circle, round >= WARM_UP);
        }
    for (const Farm &farm : farms)
        print_farm(farm.codecs.size(), 1, farm.encode_frame_us(), farm.decode_frame_us());
}

/** Two threads, each with instances of its own, run until both have done their rounds */
void measure_two_threads(const Library &library, const Circle &circle, size_t count, size_t rounds)
{
    std::vector<Farm> farms;
    for (size_t t = 0; t < 2; t++)
        farms.emplace_back(library, count);
    std::atomic<size_t> ready = 0, done = 0;
    std::vector<std::thread> threads;
    for (Farm &farm : farms)
        threads.emplace_back([&] {
            ready++;
            while (ready < 2)
                std::this_thread::yield();
            for (size_t round = 0; round < WARM_UP + rounds; round++)
                farm.serve(library, circle, round >= WARM_UP);
            done++;
            while (done < 2)
                farm.serve(library, circle, false);
        });
    for (std::thread &thread : threads)
        thread.join();
    print_farm(2 * count, 2, (farms[0].encode_frame_us() + farms[1].encode_frame_us()) / 2,
               (farms[0].decode_frame_us() + farms[1].decode_frame_us()) / 2);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: talv_footprint LIBRARY [ROUNDS]\n");
        return 2;
    }
    try {
        const int rounds_wanted = argc > 2 ? std::atoi(argv[2]) : 60;
        if (rounds_wanted < 1)
            fail("no rounds");
        const size_t rounds = static_cast<size_t>(rounds_wanted);
        measure_loading(argv[1]);
        const Library library = load_library(argv[1]);
        measure_opening(library);
        const std::vector<int16_t> speech = bundled_speech(FRAME);
        measure_memory(library, speech);
        const Circle circle = circle_of(library, speech);
        measure_growth(library, circle, rounds);
        measure_two_threads(library, circle, 1, 20 * rounds);
        measure_two_threads(library, circle, 5000, rounds);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "talv_footprint: %s\n", error.what());
        return 1;
    }
    return 0;
}
