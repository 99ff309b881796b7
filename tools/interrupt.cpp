#include "interrupt.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace talv
{
namespace
{

std::atomic<int> came{0};
int wake[2] = {-1, -1}; /* readable once a signal came: any thread that waits for input is woken */

extern "C" void note_signal(int signal)
{
    const int error = errno;
    came = signal;
    [[maybe_unused]] const ssize_t n = write(wake[1], "!", 1);
    errno = error;
}

} // namespace

void keep_on_signals()
{
    if (pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    struct sigaction action = {};
    action.sa_handler = note_signal;
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
}

bool keeping_on_signals()
{
    return wake[0] >= 0;
}

int interrupting_signal()
{
    return came;
}

bool wait_for_input(int fd)
{
    if (!keeping_on_signals())
        return true;
    for (;;) {
        pollfd p[2] = {{wake[0], POLLIN, 0}, {fd, POLLIN, 0}};
        if (poll(p, 2, -1) < 0 && errno != EINTR)
            return true;
        if (came != 0)
            return false;
        if (p[1].revents)
            return true;
    }
}

} // namespace talv
