/** Failures that end the run: always the thing it was about, then the reason, as in "in.wav: No such file or directory" */
#ifndef TALV_TOOLS_FAILURE_H
#define TALV_TOOLS_FAILURE_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace talv
{

struct Failure : std::runtime_error {
    Failure(const std::string &subject, const std::string &reason) : std::runtime_error(subject + ": " + reason) {}
};

/** The failure of a system call, from an errno value */
inline Failure system_failure(const std::string &subject, int error)
{
    return Failure(subject, std::generic_category().message(error));
}

} // namespace talv

#endif
