#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <talvcodec.h>
#include <unistd.h>
#include <utility>

namespace talv
{

Progress::Progress(std::string what, size_t files, bool quiet)
    : what_(std::move(what)), files_(static_cast<double>(files)), terminal_(!quiet && isatty(STDERR_FILENO) != 0)
{
}

Progress::~Progress()
{
    clear();
}

Progress::File::~File()
{
    const std::lock_guard lock(progress_.mutex_);
    progress_.finished_ += 1 - share_;
}

void Progress::File::advance(int64_t n)
{
    done_ += n;
    const std::lock_guard lock(progress_.mutex_);
    progress_.samples_ += n;
    if (length_ > 0) {
        const double share = std::min(1.0, static_cast<double>(done_) / static_cast<double>(length_));
        progress_.finished_ += share - share_;
        progress_.known_ = true;
        share_ = share;
    }
    progress_.show();
}

void Progress::show()
{
    constexpr int WIDTH = 24;
    if (!terminal_)
        return;
    const Clock::time_point now = Clock::now();
    if (now - shown_ < std::chrono::milliseconds(100))
        return;
    shown_ = now;
    line_ = true;
    const double took = std::chrono::duration<double>(now - start_).count();
    const double lasts = static_cast<double>(samples_) / TALV_SAMPLE_RATE;
    std::fprintf(stderr, "\r%s ", what_.c_str());
    const double share = files_ > 0 ? finished_ / files_ : 0;
    if (known_ && share > 0) {
        const int filled = static_cast<int>(share * WIDTH);
        std::fprintf(stderr, "[%s%s] %3.0f %%  ", std::string(static_cast<size_t>(filled), '=').c_str(),
                     std::string(static_cast<size_t>(WIDTH - filled), ' ').c_str(), 100 * share);
    }
    std::fprintf(stderr, "%.1f s, %.0f times real time", lasts, lasts / std::max(1e-9, took));
    if (known_ && share > 0)
        std::fprintf(stderr, ", %.0f s left", took * (1 - share) / share);
    std::fputs("\x1b[K", stderr); /* erase what a longer line left */
}

void Progress::clear()
{
    if (line_)
        std::fputs("\r\x1b[K", stderr);
    line_ = false;
}

void Progress::say(const std::string &line)
{
    const std::lock_guard lock(mutex_);
    clear();
    std::fprintf(stderr, "%s\n", line.c_str());
}

void Progress::put(std::FILE *to, const std::string &line)
{
    const std::lock_guard lock(mutex_);
    clear();
    std::fprintf(to, "%s\n", line.c_str());
    std::fflush(to);
}

} // namespace talv
