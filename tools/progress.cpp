#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <talvcodec.h>
#include <unistd.h>
#include <utility>

namespace talv
{

Progress::Progress(std::string what, int64_t length)
    : what_(std::move(what)), length_(length), terminal_(isatty(STDERR_FILENO) != 0)
{
}

Progress::~Progress()
{
    clear();
}

void Progress::advance(int64_t n)
{
    done_ += n;
    if (!terminal_)
        return;
    const Clock::time_point now = Clock::now();
    if (now - shown_ < std::chrono::milliseconds(100))
        return;
    shown_ = now;
    line_ = true;
    std::fprintf(stderr, "\r%s  %.1f s", what_.c_str(), static_cast<double>(done_) / TALV_SAMPLE_RATE);
    if (length_ > 0)
        std::fprintf(stderr, "  %d %%", static_cast<int>(std::min<int64_t>(100, 100 * done_ / length_)));
    std::fputs("\x1b[K", stderr); /* erase what a longer line left */
}

void Progress::clear()
{
    if (line_)
        std::fputs("\r\x1b[K", stderr);
    line_ = false;
}

void Progress::report()
{
    clear();
    const double took = std::max(1e-9, std::chrono::duration<double>(Clock::now() - start_).count());
    const double lasts = static_cast<double>(done_) / TALV_SAMPLE_RATE;
    std::fprintf(stderr, "%s: %.2f s in %.4f s, %.0f times real time\n", what_.c_str(), lasts, took, lasts / took);
}

} // namespace talv
