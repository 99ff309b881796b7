/** Running the tool as a process, in a folder of its own */
#ifndef TALV_TESTS_TOOL_PROCESS_H
#define TALV_TESTS_TOOL_PROCESS_H

#include "tests/support/folder.h"

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace talv_test
{

using Args = std::vector<std::string>;

struct Outcome {
    int status = -1; /* exit status; -1 when a signal ended it                    */
    int signal = 0;  /* that signal, else 0                                       */
    std::string out, err;
};

/** A running tool with pipes on all three streams, or a terminal in the place of the last */
class Process
{
public:
    /** file_limit   greatest file that it may write, in bytes (writing more then fails); 0: any
     *  terminal     its messages go to a pseudo-terminal
     */
    explicit Process(const Args &args, size_t file_limit = 0, bool terminal = false);
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    /** Hand over bytes; the pipe stays open */
    void feed(const std::string &bytes);

    /** Wait for n bytes of its output, 20 s at most
     *  return   what came: fewer when it ended, or kept them back
     */
    std::string expect(size_t n);

    /** Wait until it has taken all that was fed */
    void wait_until_fed() const;

    void kill(int signal);

    /** Feed the bytes, close the pipe, and collect all that comes until it ends */
    Outcome finish(const std::string &bytes = "");

private:
    pid_t pid_ = -1;
    int in_ = -1, out_ = -1, err_ = -1;
    Outcome outcome_;
};

/** Run from beginning to end */
inline Outcome run(const Args &args, const std::string &input = "", size_t file_limit = 0)
{
    return Process(args, file_limit).finish(input);
}

} // namespace talv_test

#endif
