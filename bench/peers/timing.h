/** Undisturbed cost on a machine that does other things too
 *
 *  The work is cut into short pieces, each piece is timed in many passes, and the least time of each piece is what it
 *  costs when nothing comes between. The sum over the pieces is the undisturbed cost of the work; the sum of the pieces'
 *  medians is what an ordinary pass took.
 */
#ifndef TALV_BENCH_PEERS_TIMING_H
#define TALV_BENCH_PEERS_TIMING_H

#include <algorithm>
#include <cstddef>
#include <time.h>
#include <vector>

namespace talv::bench
{

/** Processor time of this thread, in microseconds */
inline double thread_us()
{
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) * 1e-3;
}

/** Processor time of an action, in microseconds */
template <typename Action>
double timed_us(Action action)
{
    const double start = thread_us();
    action();
    return thread_us() - start;
}

/** Times of the pieces of some work: a row of passes for each piece */
using PieceTimes = std::vector<std::vector<double>>;

/** Sum over the pieces of the least time in passes first to last - 1 */
inline double least_us(const PieceTimes &pieces, size_t first, size_t last)
{
    double sum = 0.0;
    for (const auto &passes : pieces)
        sum += *std::min_element(passes.begin() + static_cast<std::ptrdiff_t>(first),
                                 passes.begin() + static_cast<std::ptrdiff_t>(last));
    return sum;
}
inline double least_us(const PieceTimes &pieces)
{
    return least_us(pieces, 0, pieces.front().size());
}

/** Sum over the pieces of the median time */
inline double median_us(const PieceTimes &pieces)
{
    double sum = 0.0;
    for (auto passes : pieces) {
        const auto middle = passes.begin() + static_cast<std::ptrdiff_t>(passes.size() / 2);
        std::nth_element(passes.begin(), middle, passes.end());
        sum += *middle;
    }
    return sum;
}

} // namespace talv::bench

#endif
