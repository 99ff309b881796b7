/** Failures: always the thing it was about, then the reason, as in "in.wav: No such file or directory", and the exit
 *  status that tells its kind to scripts
 */
#ifndef TALV_TOOLS_FAILURE_H
#define TALV_TOOLS_FAILURE_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace talv
{

/** Exit statuses. A run with several failed files ends with their common status, or with `failed` when they differ. */
enum class Status {
    done = 0,
    failed = 1,       /* anything else, or failures of several kinds                  */
    usage = 2,        /* wrong arguments                                              */
    unreadable = 3,   /* the input cannot be opened or read                           */
    alien = 4,        /* the input is not what it would have to be                    */
    truncated = 5,    /* the input ends before its end                                */
    odd_length = 6,   /* bare frames whose length is no multiple of 8                 */
    damaged = 7,      /* parts of the input were damaged and skipped                  */
    unwritable = 8,   /* the output cannot be opened or written                       */
    full = 9,         /* no space for the output                                      */
    pipe_closed = 10, /* whoever read the output has gone                            */
    collision = 11,   /* the output is an input, or the output of another input       */
};

struct Failure : std::runtime_error {
    Failure(const std::string &subject, const std::string &reason, Status kind = Status::failed)
        : std::runtime_error(subject + ": " + reason), status(kind)
    {
    }
    Failure(const std::string &text, Status kind) : std::runtime_error(text), status(kind) {}
    Status status;
};

/** The run was asked to stop by a signal, and what was done so far is to be kept */
struct Interrupted : Failure {
    explicit Interrupted(const std::string &subject) : Failure(subject, "interrupted") {}
};

/** The failure of a system call, from an errno value */
inline Failure read_failure(const std::string &subject, int error)
{
    return Failure(subject, std::generic_category().message(error), Status::unreadable);
}

inline Failure write_failure(const std::string &subject, int error)
{
    const bool full = error == ENOSPC || error == EDQUOT || error == EFBIG;
    return Failure(subject, std::generic_category().message(error),
                   full             ? Status::full
                   : error == EPIPE ? Status::pipe_closed
                                    : Status::unwritable);
}

/** Was it the output that failed? What has reached it may then be worth keeping */
inline bool is_output_fault(Status status)
{
    return status == Status::unwritable || status == Status::full || status == Status::pipe_closed;
}

} // namespace talv

#endif
