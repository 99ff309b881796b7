#include "standard_streams.h"

#include "failure.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace talv
{
namespace
{
bool stdout_was_closed = false;
}

bool is_stdin(const std::string &path)
{
    return path == "-" || path == "/dev/stdin" || path == "/dev/fd/0";
}

bool is_stdout(const std::string &path)
{
    return path == "-" || path == "/dev/stdout" || path == "/dev/fd/1";
}

void settle_standard_streams()
{
    for (int fd = 0; fd <= 2; fd++) {
        if (fcntl(fd, F_GETFD) >= 0)
            continue;
        /* The lowest free descriptor is the one that is missing. Read-only, so that writing to it is an error. */
        if (open("/dev/null", O_RDONLY) < 0)
            _exit(1);
        if (fd == 1)
            stdout_was_closed = true;
    }
}

int take_standard_output()
{
    if (stdout_was_closed)
        throw write_failure(STDOUT_NAME, EBADF);
    if (isatty(1))
        throw Failure(STDOUT_NAME, "is a terminal; name a file, or send it to another program", Status::unwritable);
    std::fflush(stdout);
    const int fd = fcntl(1, F_DUPFD_CLOEXEC, 3);
    if (fd < 0 || dup2(2, 1) < 0)
        throw write_failure(STDOUT_NAME, errno);
    return fd;
}

std::FILE *take_report_stream(bool data_on_stdout)
{
    if (data_on_stdout)
        return stderr;
    std::fflush(stdout);
    const int fd = fcntl(1, F_DUPFD_CLOEXEC, 3);
    std::FILE *stream = fd < 0 ? nullptr : fdopen(fd, "w");
    if (stdout_was_closed || !stream || dup2(2, 1) < 0)
        throw write_failure(STDOUT_NAME, stdout_was_closed ? EBADF : errno);
    return stream;
}

} // namespace talv
