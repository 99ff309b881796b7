#include "input_file.h"

#include "failure.h"
#include "interrupt.h"
#include "standard_streams.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace talv
{

InputFile::InputFile(const std::string &path) : name_(is_stdin(path) ? STDIN_NAME : path)
{
    fd_ = is_stdin(path) ? fcntl(0, F_DUPFD_CLOEXEC, 3) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0)
        throw read_failure(name_, errno);
    struct stat st = {};
    if (fstat(fd_, &st) == 0 && S_ISDIR(st.st_mode)) {
        close(fd_);
        throw read_failure(name_, EISDIR);
    }
}

InputFile::InputFile(const std::string &name, const uint8_t *bytes, size_t n) : name_(name), memory_(bytes), size_(n) {}

InputFile::~InputFile()
{
    if (fd_ >= 0)
        close(fd_);
}

int64_t InputFile::bytes_left() const
{
    if (fd_ < 0)
        return static_cast<int64_t>(size_ - at_);
    struct stat st = {};
    const off_t here = lseek(fd_, 0, SEEK_CUR);
    if (here < 0 || fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode))
        return -1;
    return st.st_size > here ? st.st_size - here : 0;
}

size_t InputFile::read(void *data, size_t n)
{
    auto *bytes = static_cast<char *>(data);
    size_t got = 0;
    while (got < n) {
        const size_t r = read_some(bytes + got, n - got);
        if (r == 0)
            break;
        got += r;
    }
    return got;
}

size_t InputFile::read_some(void *data, size_t n)
{
    if (fd_ < 0) {
        n = std::min(n, size_ - at_);
        std::copy_n(memory_ + at_, n, static_cast<uint8_t *>(data));
        at_ += n;
        return n;
    }
    for (;;) {
        if (!wait_for_input(fd_))
            throw Interrupted(name_);
        const ssize_t r = ::read(fd_, data, n);
        if (r >= 0)
            return static_cast<size_t>(r);
        if (errno != EINTR)
            throw read_failure(name_, errno);
    }
}

void InputFile::rewind()
{
    at_ = 0;
    if (fd_ >= 0 && lseek(fd_, 0, SEEK_SET) != 0)
        throw read_failure(name_, errno);
}

void InputFile::spool(const std::string &head)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    const char *directory = std::getenv("TMPDIR");
    std::string path = std::string(directory && *directory ? directory : "/tmp") + "/talv-XXXXXX";
    const int file = mkostemp(path.data(), O_CLOEXEC);
    if (file < 0)
        throw write_failure(path, errno);
    unlink(path.c_str()); /* nothing to tidy up, whatever becomes of this run */

    std::vector<char> block(1 << 16);
    block.assign(head.begin(), head.end());
    bool more = true;
    while (more || !block.empty()) {
        size_t done = 0;
        while (done < block.size()) {
            const ssize_t w = ::write(file, block.data() + done, block.size() - done);
            if (w < 0 && errno != EINTR) {
                const int error = errno;
                close(file);
                throw write_failure(name_ + ": cannot keep it in a temporary file", error);
            }
            done += w > 0 ? static_cast<size_t>(w) : 0;
        }
        block.resize(1 << 16);
        block.resize(read(block.data(), block.size()));
        more = !block.empty();
    }
    lseek(file, 0, SEEK_SET);
    close(fd_);
    fd_ = file;
}

int own_descriptor(int fd)
{
    return fcntl(fd, F_DUPFD_CLOEXEC, 3);
}

} // namespace talv
