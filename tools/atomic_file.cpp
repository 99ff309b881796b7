#include "atomic_file.h"

#include "failure.h"
#include "standard_streams.h"

#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace talv
{
namespace
{

constexpr size_t BUFFER_BYTES = 1 << 16;

/* The one temporary file of this run, where the signal handler can reach it; empty when there is none. */
char pending_path[PATH_MAX];

extern "C" void remove_pending_file(int signal)
{
    if (pending_path[0] != '\0')
        unlink(pending_path);
    raise(signal); /* the default action stands again: SA_RESETHAND */
}

/* What ends a run from outside. A signal that the caller ignores (nohup) stays ignored. */
void catch_deadly_signals()
{
    struct sigaction action = {};
    action.sa_handler = remove_pending_file;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXFSZ, SIGXCPU}) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
}

void write_all(int fd, const uint8_t *data, size_t nbytes, const std::string &name)
{
    while (nbytes > 0) {
        const ssize_t n = ::write(fd, data, nbytes);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            throw system_failure(name, errno);
        data += n;
        nbytes -= static_cast<size_t>(n);
    }
}

} // namespace

AtomicFile::AtomicFile(const std::string &path) : name_(path), target_(path)
{
    struct stat st = {};
    if (is_stdout(path)) {
        name_ = STDOUT_NAME;
        fd_ = take_standard_output();
        at_once_ = fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode);
        return;
    }
    const bool exists = stat(path.c_str(), &st) == 0;
    if (exists && S_ISDIR(st.st_mode))
        throw system_failure(name_, EISDIR);
    if (exists && !S_ISREG(st.st_mode)) {
        fd_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd_ < 0)
            throw system_failure(name_, errno);
        at_once_ = true;
        return;
    }
    if (exists) {
        /* A link keeps its place and the file behind it is replaced. */
        if (char *real = realpath(path.c_str(), nullptr)) {
            target_ = real;
            std::free(real);
        }
    }
    open_temporary();
    if (exists)
        fchmod(fd_, st.st_mode & 07777); /* at best: a file system without modes is no reason to fail */
}

/* The directory must be the target's own: a file can only be renamed within one file system. */
void AtomicFile::open_temporary()
{
    const size_t slash = target_.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : target_.substr(0, slash + 1);
    catch_deadly_signals();
    for (int n = 0;; n++) {
        const std::string path = directory + ".talv-" + std::to_string(getpid()) + "-" + std::to_string(n) + ".tmp";
        if (path.size() >= sizeof pending_path)
            throw system_failure(name_, ENAMETOOLONG);
        std::strcpy(pending_path, path.c_str());
        fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ >= 0) {
            temporary_ = path;
            return;
        }
        pending_path[0] = '\0';
        if (errno != EEXIST)
            throw system_failure(name_, errno);
    }
}

AtomicFile::~AtomicFile()
{
    if (fd_ >= 0)
        close(fd_);
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
        pending_path[0] = '\0';
    }
}

void AtomicFile::write(const void *data, size_t nbytes)
{
    const auto *bytes = static_cast<const uint8_t *>(data);
    buffer_.insert(buffer_.end(), bytes, bytes + nbytes);
    if (at_once_ || buffer_.size() >= BUFFER_BYTES)
        flush();
}

void AtomicFile::flush()
{
    write_all(fd_, buffer_.data(), buffer_.size(), name_);
    buffer_.clear();
}

void AtomicFile::rewrite_start(const void *data, size_t nbytes)
{
    flush();
    if (lseek(fd_, 0, SEEK_SET) != 0)
        throw system_failure(name_, errno);
    write_all(fd_, static_cast<const uint8_t *>(data), nbytes, name_);
    if (lseek(fd_, 0, SEEK_END) < 0)
        throw system_failure(name_, errno);
}

void AtomicFile::commit()
{
    flush();
    const int fd = fd_;
    fd_ = -1;
    if (close(fd) != 0)
        throw system_failure(name_, errno);
    if (temporary_.empty())
        return;
    if (rename(temporary_.c_str(), target_.c_str()) != 0)
        throw system_failure(name_, errno);
    temporary_.clear();
    pending_path[0] = '\0';
}

void refuse_same_file(const std::string &in, const std::string &out)
{
    struct stat a = {}, b = {};
    if (is_stdin(in) || is_stdout(out) || stat(in.c_str(), &a) != 0 || stat(out.c_str(), &b) != 0)
        return;
    if (S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino)
        throw Failure(out, "is the input itself");
}

} // namespace talv
