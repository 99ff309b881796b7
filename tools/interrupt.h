/** Stopping in good order: a signal ends the input, and what was done before it is kept
 *
 *  Without keep_on_signals() a signal ends the run at once and its temporary files are removed (atomic_file.h).
 */
#ifndef TALV_TOOLS_INTERRUPT_H
#define TALV_TOOLS_INTERRUPT_H

#include <csignal>

namespace talv
{

/** From now on SIGHUP, SIGINT and SIGTERM are taken for the end of the input */
void keep_on_signals();

/** Has keep_on_signals() been called? */
bool keeping_on_signals();

/** The signal that came, or 0 */
int interrupting_signal();

/** Wait until a descriptor can be read, or the run is interrupted; true when it can */
bool wait_for_input(int fd);

} // namespace talv

#endif
