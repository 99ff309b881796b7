#include "atomic_file.h"

#include "failure.h"
#include "interrupt.h"
#include "standard_streams.h"

#include <atomic>
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

/* The temporary files of this run, where the signal handler can reach them: as many as files are written at once. */
constexpr size_t SLOTS = 256;
struct Pending {
    std::atomic<bool> taken{false}, there{false};
    char path[PATH_MAX];
};
Pending pending[SLOTS];

size_t take_slot(const std::string &name)
{
    for (size_t i = 0; i < SLOTS; i++)
        if (!pending[i].taken.exchange(true))
            return i;
    throw Failure(name, "too many files are being written at once");
}

void free_slot(size_t slot)
{
    pending[slot].there = false;
    pending[slot].taken = false;
}

extern "C" void remove_pending_files(int signal)
{
    for (const Pending &file : pending)
        if (file.there)
            unlink(file.path);
    static_cast<void>(raise(signal)); /* the default action stands again: SA_RESETHAND */
}

/* What ends a run from outside. A signal that the caller ignores (nohup) stays ignored. */
void catch_deadly_signals()
{
    struct sigaction action = {};
    action.sa_handler = remove_pending_files;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXFSZ, SIGXCPU}) {
        if (keeping_on_signals() && (signal == SIGHUP || signal == SIGINT || signal == SIGTERM))
            continue;
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
            throw write_failure(name, errno);
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
        throw write_failure(name_, EISDIR);
    if (exists && !S_ISREG(st.st_mode)) {
        fd_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd_ < 0)
            throw write_failure(name_, errno);
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
    slot_ = take_slot(name_);
    Pending &slot = pending[slot_];
    for (int n = 0;; n++) {
        const std::string path = directory + ".talv-" + std::to_string(getpid()) + "-" + std::to_string(slot_) + "-" +
                                 std::to_string(n) + ".tmp";
        if (path.size() >= sizeof slot.path) {
            free_slot(slot_);
            throw write_failure(name_, ENAMETOOLONG);
        }
        std::memcpy(slot.path, path.c_str(), path.size() + 1);
        slot.there = true;
        fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd_ >= 0) {
            temporary_ = path;
            return;
        }
        const int error = errno;
        slot.there = false;
        if (error != EEXIST) {
            free_slot(slot_);
            throw write_failure(name_, error);
        }
    }
}

AtomicFile::~AtomicFile()
{
    if (fd_ >= 0)
        close(fd_);
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
        free_slot(slot_);
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
        throw write_failure(name_, errno);
    write_all(fd_, static_cast<const uint8_t *>(data), nbytes, name_);
    if (lseek(fd_, 0, SEEK_END) < 0)
        throw write_failure(name_, errno);
}

int64_t AtomicFile::landed() const
{
    struct stat st = {};
    return fstat(fd_, &st) == 0 ? st.st_size : 0;
}

std::string AtomicFile::read_back(int64_t offset, int64_t nbytes) const
{
    std::string bytes(static_cast<size_t>(nbytes), '\0');
    if (pread(fd_, bytes.data(), bytes.size(), offset) != nbytes)
        throw write_failure(name_, errno);
    return bytes;
}

void AtomicFile::cut(int64_t nbytes)
{
    buffer_.clear();
    if (ftruncate(fd_, nbytes) != 0 || lseek(fd_, nbytes, SEEK_SET) < 0)
        throw write_failure(name_, errno);
}

void AtomicFile::commit()
{
    flush();
    const int fd = fd_;
    fd_ = -1;
    if (close(fd) != 0)
        throw write_failure(name_, errno);
    if (temporary_.empty())
        return;
    if (rename(temporary_.c_str(), target_.c_str()) != 0)
        throw write_failure(name_, errno);
    temporary_.clear();
    free_slot(slot_);
}

void refuse_same_file(const std::string &in, const std::string &out)
{
    struct stat a = {}, b = {};
    if (is_stdin(in) || is_stdout(out) || stat(in.c_str(), &a) != 0 || stat(out.c_str(), &b) != 0)
        return;
    if (S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino)
        throw Failure(out, "is the input itself", Status::collision);
}

} // namespace talv
