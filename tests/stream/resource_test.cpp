/** What an instance takes from its process: one block of memory, little stack, nothing else */
#include "tests/stream/host.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <gtest/gtest.h>
#include <pthread.h>

#if defined(__SANITIZE_ADDRESS__)
#define TALV_PLAIN_PROCESS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TALV_PLAIN_PROCESS 0
#endif
#endif
#ifndef TALV_PLAIN_PROCESS
#define TALV_PLAIN_PROCESS 1
#endif

/* The address sanitizer has an allocator and stack frames of its own: there is nothing to be measured under it. */
#if TALV_PLAIN_PROCESS && defined(__GLIBC__)

namespace
{
std::atomic<long> allocations{0}, releases{0}, largest{0};
std::atomic<bool> exhausted{false};

void count(size_t n)
{
    allocations++;
    if (static_cast<long>(n) > largest)
        largest = static_cast<long>(n);
}
} // namespace

/* These allocate for the whole process: definitions in a program come before those of any library. The codec knows no
 * others: boundary.dependencies lists all that it asks for. */
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void __libc_free(void *);

void *malloc(size_t n)
{
    count(n);
    return exhausted ? nullptr : __libc_malloc(n);
}
void *calloc(size_t n, size_t size)
{
    count(n * size);
    return exhausted ? nullptr : __libc_calloc(n, size);
}
void free(void *block)
{
    if (block != nullptr)
        releases++;
    __libc_free(block);
}
} // extern "C"

namespace
{

using namespace talv::test;

TEST(Memory, OneBlockAndNothingAfterOpen)
{
    const Pcm &pcm = clips()[0].pcm;
    std::vector<Frame> frames(pcm.size() / TALV_FRAME_SAMPLES);
    Pcm out(TALV_FRAME_SAMPLES);

    { /* the counters do count */
        const long before = allocations;
        void *volatile block = std::malloc(100); /* a compiler may leave out a pair that it sees through */
        std::free(block);
        ASSERT_EQ(allocations, before + 1);
    }

    TALV_Codec *codec = nullptr;
    long allocated = allocations, released = releases;
    largest = 0;
    ASSERT_EQ(TALV_CodecOpen(&codec), TALV_OK);
    EXPECT_EQ(allocations, allocated + 1);
    EXPECT_LE(largest, 16 * 1024);
    EXPECT_EQ(releases, released);

    allocated = allocations;
    for (size_t t = 0; t < frames.size(); t++) {
        if (t == frames.size() / 2) {
            TALV_EncodeInit(codec);
            TALV_DecodeInit(codec);
        }
        frames[t] = encode_one(codec, pcm.data() + t * TALV_FRAME_SAMPLES);
        decode_one(codec, frames[t], out.data());
    }
    EXPECT_EQ(allocations, allocated) << "allocated in mid-stream";
    EXPECT_EQ(releases, released);

    EXPECT_EQ(TALV_CodecClose(codec), TALV_OK);
    EXPECT_EQ(TALV_CodecClose(nullptr), TALV_OK);
    EXPECT_EQ(allocations, allocated);
    EXPECT_EQ(releases, released + 1);
}

TEST(Memory, OpenWithoutMemory)
{
    TALV_Codec *codec = reinterpret_cast<TALV_Codec *>(&codec);
    int32_t result = -1;
    const std::string text = captured([&] {
        std::printf("."); /* standard output has its buffer now */
        exhausted = true;
        result = TALV_CodecOpen(&codec);
        exhausted = false;
    });
    EXPECT_EQ(result, TALV_NO_MEMORY);
    EXPECT_EQ(codec, nullptr);
    EXPECT_EQ(text, ".Failed to Open CODEC Instance");
}

/** An action on a thread whose stack was painted, and how much of the paint is gone */
constexpr size_t STACK_BYTES = 256 * 1024;
constexpr unsigned char PAINT = 0xA5;
alignas(4096) unsigned char stack_room[STACK_BYTES];

struct Measurement {
    void (*action)(void *);
    void *argument;
    ptrdiff_t used;
};

[[gnu::noinline]] void *measure(void *p)
{
    auto *m = static_cast<Measurement *>(p);
    /* From a little below this frame down to the end of the stack; nothing is called until the painting is over. */
    auto *const frame = static_cast<unsigned char *>(__builtin_frame_address(0));
    volatile unsigned char *const top = frame - 512;
    for (volatile unsigned char *c = stack_room; c < top; c++)
        *c = PAINT;
    m->action(m->argument);
    volatile unsigned char *deepest = stack_room;
    while (deepest < top && *deepest == PAINT)
        deepest++;
    m->used = frame - deepest;
    return nullptr;
}

ptrdiff_t stack_used(void (*action)(void *), void *argument)
{
    Measurement m = {action, argument, -1};
    pthread_attr_t attributes;
    pthread_t thread;
    EXPECT_EQ(pthread_attr_init(&attributes), 0);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack_room, STACK_BYTES), 0);
    EXPECT_EQ(pthread_create(&thread, &attributes, measure, &m), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
    return m.used;
}

TEST(Memory, StackOfACall)
{
    struct Work {
        Codec codec = open_codec();
        const Pcm *pcm = nullptr;
        std::vector<Frame> frames;
        Pcm out = Pcm(TALV_FRAME_SAMPLES);
        bool decoding = false;
    } work;
    const auto run = [](void *p) {
        auto &w = *static_cast<Work *>(p);
        uint32_t bytes;
        for (size_t t = 0; t < w.frames.size(); t++)
            if (w.decoding)
                TALV_SpeechDecode(w.codec.get(), w.frames[t].data(), w.out.data(), &bytes);
            else
                TALV_SpeechEncode(w.codec.get(), w.pcm->data() + t * TALV_FRAME_SAMPLES, w.frames[t].data(), &bytes);
    };
    { /* the paint does show what is used */
        const auto use_20_kib = [](void *) {
            volatile unsigned char room[20 * 1024];
            for (size_t i = 0; i < sizeof room; i++)
                room[i] = 1;
        };
        const ptrdiff_t used = stack_used(use_20_kib, nullptr);
        ASSERT_GT(used, 20 * 1024);
        ASSERT_LT(used, 22 * 1024);
    }
#ifdef __OPTIMIZE__
    constexpr ptrdiff_t ROOM = 16 * 1024;
#else
    constexpr ptrdiff_t ROOM = 20 * 1024; /* every value has a place of its own there */
#endif
    for (const Clip &clip : clips()) {
        work.pcm = &clip.pcm;
        work.frames.assign(clip.pcm.size() / TALV_FRAME_SAMPLES, Frame{});
        for (const bool decoding : {false, true}) {
            work.decoding = decoding;
            run(&work); /* once before: the dynamic linker looks up names at their first use, on the same stack */
            const ptrdiff_t used = stack_used(run, &work);
            EXPECT_GT(used, 500) << clip.name;
            EXPECT_LE(used, ROOM) << clip.name;
            RecordProperty(clip.name + (decoding ? "_decoding" : "_encoding"), std::to_string(used));
        }
    }
}

} // namespace

#endif
