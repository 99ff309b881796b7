/* talv: speech to 2000 bit/s and back, on the command line */
#include "arguments.h"
#include "interrupt.h"
#include "standard_streams.h"

#include <csignal>

int main(int argc, char **argv)
{
    talv::settle_standard_streams();
    std::signal(SIGPIPE, SIG_IGN); /* a reader that has gone is a failure like any other, with a line and a status */
    const talv::Status status = talv::Arguments().run(argc, argv);
    if (const int signal = talv::interrupting_signal(); signal != 0) {
        std::signal(signal, SIG_DFL); /* what was to be kept is kept: end as whoever sent it expects */
        std::raise(signal);
    }
    return static_cast<int>(status);
}
