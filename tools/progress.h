/** How far a run has come, shown on a terminal alone: one line for all files that are at work */
#ifndef TALV_TOOLS_PROGRESS_H
#define TALV_TOOLS_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

namespace talv
{

class Progress
{
public:
    /** Begin
     *  what     what is at work, as in "encode"
     *  files    number of files
     *  quiet    show nothing, terminal or not
     */
    Progress(std::string what, size_t files, bool quiet);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /** One file at work */
    class File
    {
    public:
        explicit File(Progress &progress) : progress_(progress) {}
        ~File();
        File(const File &) = delete;
        File &operator=(const File &) = delete;

        /** Samples to come, or -1 */
        void expect(int64_t length) { length_ = length; }

        /** n more samples are done. Shown ten times a second at most. */
        void advance(int64_t n);
        int64_t done() const { return done_; }

    private:
        Progress &progress_;
        int64_t length_ = -1, done_ = 0;
        double share_ = 0;
    };

    /** A line on standard error, with the line of progress out of the way */
    void say(const std::string &line);

    /** A line on another stream */
    void put(std::FILE *to, const std::string &line);

private:
    using Clock = std::chrono::steady_clock;
    void show();
    void clear();

    std::string what_;
    double files_;
    bool terminal_;
    std::mutex mutex_;
    double finished_ = 0; /* files, with the shares of those at work */
    int64_t samples_ = 0;
    bool known_ = false; /* the length of what is at work is known  */
    Clock::time_point start_ = Clock::now(), shown_ = start_;
    bool line_ = false;
};

} // namespace talv

#endif
