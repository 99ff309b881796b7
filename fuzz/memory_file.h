/** A file in memory whose name can be opened, for readers that take names */
#ifndef TALV_FUZZ_MEMORY_FILE_H
#define TALV_FUZZ_MEMORY_FILE_H

#include "check.h"

#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace talv::fuzz
{

class MemoryFile
{
public:
    MemoryFile() : fd_(memfd_create("talv-fuzz", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_))
    {
        FUZZ_CHECK(fd_ >= 0);
    }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;
    ~MemoryFile() { close(fd_); }

    const std::string &path() const { return path_; }

    void set(const uint8_t *data, size_t size)
    {
        FUZZ_CHECK(ftruncate(fd_, 0) == 0 && pwrite(fd_, data, size, 0) == static_cast<ssize_t>(size));
    }

private:
    int fd_;
    std::string path_;
};

} // namespace talv::fuzz

#endif
