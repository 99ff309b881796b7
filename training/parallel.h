/** Independent pieces of work on several threads
 *
 *  Each piece writes only what belongs to it, and whoever called adds the pieces up in their own order: the result is
 *  the same whatever the number of threads.
 */
#ifndef TALV_TRAINING_PARALLEL_H
#define TALV_TRAINING_PARALLEL_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace talv
{

/** work(piece) for every piece of 0..pieces-1
 *  threads   I   1 or more, the calling one included
 *  throws        what the first failing piece threw, after all threads have ended                               */
template <typename Work>
void for_each_piece(int threads, size_t pieces, const Work &work)
{
    std::atomic<size_t> next{0};
    std::exception_ptr failure;
    std::mutex failure_lock;
    const auto run = [&] {
        try {
            for (size_t piece = next++; piece < pieces; piece = next++)
                work(piece);
        } catch (...) {
            const std::lock_guard<std::mutex> hold(failure_lock);
            if (!failure)
                failure = std::current_exception();
            next = pieces;
        }
    };
    std::vector<std::thread> helpers;
    for (int t = 1; t < threads && static_cast<size_t>(t) < pieces; t++)
        helpers.emplace_back(run);
    run();
    for (std::thread &helper : helpers)
        helper.join();
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace talv

#endif
