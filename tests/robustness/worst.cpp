/* Search for the frames that take the decoder farthest: hill climbing over runs of frames, bits and fields changed at
 * random and kept when they make things no better. Prints what worst_case_test.cpp keeps.
 *
 *   talv_worst [ROUNDS [SEED]]                                                                                      */
#include "tests/robustness/worst_case.h"
#include "tests/support/signals.h"

#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace talv;
using namespace talv::test;

namespace
{

struct Goal {
    const char *name;
    int frames;
    std::function<double(const Frames &)> measure;
};

FrameBytes random_frame(Random &random)
{
    FrameBytes frame;
    for (uint8_t &b : frame)
        b = static_cast<uint8_t>(random.next());
    frame[FRAME_BYTES - 1] &= 0xF0;
    return frame;
}

Frames changed(Frames frames, Random &random)
{
    const auto at = static_cast<size_t>(random.integer(0, static_cast<int>(frames.size()) - 1));
    const int how = random.integer(0, 9);
    if (how == 0) {
        frames[at] = random_frame(random);
    } else if (how == 1) { /* the same once more */
        frames[at] = frames[static_cast<size_t>(random.integer(0, static_cast<int>(frames.size()) - 1))];
    } else {
        for (int n = random.integer(1, how < 6 ? 2 : 5); n > 0; n--) {
            const int bit = random.integer(0, FRAME_BITS - 1);
            frames[at][static_cast<size_t>(bit / 8)] ^= static_cast<uint8_t>(0x80 >> bit % 8);
        }
    }
    return frames;
}

void climb(const Goal &goal, int rounds, uint64_t seed)
{
    constexpr int STARTS = 8;
    Random random(seed);
    double best = -1.0;
    Frames found;
    for (int start = 0; start < STARTS; start++) {
        Frames frames(static_cast<size_t>(goal.frames));
        for (FrameBytes &frame : frames)
            frame = random_frame(random);
        double value = goal.measure(frames);
        for (int i = 0; i < rounds; i++) {
            const Frames next = changed(frames, random);
            const double v = goal.measure(next);
            if (v >= value) {
                value = v;
                frames = next;
            }
        }
        if (value > best) {
            best = value;
            found = frames;
        }
    }
    std::printf("%-28s %14.6g ", goal.name, best);
    for (const FrameBytes &frame : found) {
        std::printf(" ");
        for (const uint8_t b : frame)
            std::printf("%02x", b);
    }
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 4000;
    const uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    const Goal goals[] = {
        {"post-filter output", 4, [](const Frames &f) { return decoded_peaks(f).output; }},
        {"speech before it", 3, [](const Frames &f) { return decoded_peaks(f).speech; }},
        {"spline coefficient", 2, [](const Frames &f) { return decoded_peaks(f).coefficient; }},
        {"deepest read", 4,
         [](const Frames &f) {
             const Reads r = reads_of(f);
             return r.deepest + 500.0 * (r.past_guards > 2) + r.phase;
         }},
        {"read past the guards", 4,
         [](const Frames &f) {
             const Reads r = reads_of(f);
             return r.past_guards + r.phase;
         }},
        {"samples beyond the grid", 4,
         [](const Frames &f) {
             const Reads r = reads_of(f);
             return r.most_samples + r.phase;
         }},
        {"position over the grid", 4, [](const Frames &f) { return reads_of(f).phase; }},
        {"return of the post-filter", 2, [](const Frames &f) { return norm(postfilter_return(f[0], f[1])); }},
        {"growth over two frames", 2, postfilter_growth},
        {"growth over three frames", 3, postfilter_growth},
    };
    for (const Goal &goal : goals)
        climb(goal, rounds, seed);
    return 0;
}
