/** How far a run has come, shown on a terminal alone, and how fast it was */
#ifndef TALV_TOOLS_PROGRESS_H
#define TALV_TOOLS_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace talv
{

class Progress
{
public:
    /** Begin
     *  what     what is at work, as in "encode in.wav"
     *  length   samples to come, or -1
     */
    Progress(std::string what, int64_t length);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /** n more samples are done. Shown ten times a second at most. */
    void advance(int64_t n);

    /** Take the line off the terminal */
    void clear();

    /** One line on standard error, as in "encode in.wav: 5.80 s in 0.012 s, 483 times real time" */
    void report();

private:
    using Clock = std::chrono::steady_clock;

    std::string what_;
    int64_t length_;
    int64_t done_ = 0;
    Clock::time_point start_ = Clock::now();
    Clock::time_point shown_ = start_;
    bool terminal_;
    bool line_ = false;
};

} // namespace talv

#endif
