#include "process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talv_test
{
namespace
{

constexpr int PATIENCE_MS = 240000; /* before a process that says nothing is given up: sanitizers are slow */

void make_pipe(int fds[2])
{
    if (pipe2(fds, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
}

/* A pseudo-terminal: [0] is read, [1] is for the process. */
void make_terminal(int fds[2])
{
    fds[0] = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fds[0] < 0 || grantpt(fds[0]) != 0 || unlockpt(fds[0]) != 0)
        throw std::runtime_error("no terminal");
    fds[1] = open(ptsname(fds[0]), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

/* Read once what is there; false at the end. */
bool drain(int fd, std::string &to)
{
    char block[65536];
    const ssize_t n = read(fd, block, sizeof block);
    if (n > 0)
        to.append(block, static_cast<size_t>(n));
    return n > 0 || (n < 0 && (errno == EAGAIN || errno == EINTR));
}

void close_fd(int &fd)
{
    if (fd >= 0)
        close(fd);
    fd = -1;
}

} // namespace

Process::Process(const Args &args, size_t file_limit, bool terminal)
{
    std::signal(SIGPIPE, SIG_IGN); /* a tool that stops reading is an outcome, not the end of the test */
    int in[2], out[2], err[2];
    make_pipe(in);
    make_pipe(out);
    if (terminal)
        make_terminal(err);
    else
        make_pipe(err);
    std::vector<char *> argv{const_cast<char *>(TALV_TOOL)};
    for (const std::string &arg : args)
        argv.push_back(const_cast<char *>(arg.c_str()));
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        std::signal(SIGPIPE, SIG_DFL);
        if (file_limit > 0) {
            std::signal(SIGXFSZ, SIG_IGN); /* writing fails with EFBIG then, as on a full disk */
            const rlimit limit{file_limit, file_limit};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        execv(TALV_TOOL, argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    in_ = in[1];
    out_ = out[0];
    err_ = err[0];
    for (int fd : {in_, out_, err_})
        fcntl(fd, F_SETFL, O_NONBLOCK);
}

Process::~Process()
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close_fd(in_);
    close_fd(out_);
    close_fd(err_);
}

void Process::feed(const std::string &bytes)
{
    for (size_t done = 0; done < bytes.size();) {
        pollfd p{in_, POLLOUT, 0};
        if (poll(&p, 1, PATIENCE_MS) <= 0)
            throw std::runtime_error("the tool does not read");
        const ssize_t n = write(in_, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno != EAGAIN)
            throw std::runtime_error("the tool does not read any more");
        done += n > 0 ? static_cast<size_t>(n) : 0;
    }
}

std::string Process::expect(size_t n)
{
    while (outcome_.out.size() < n) {
        pollfd p{out_, POLLIN, 0};
        if (poll(&p, 1, PATIENCE_MS) <= 0 || !drain(out_, outcome_.out))
            break;
    }
    return outcome_.out.substr(0, n);
}

void Process::wait_until_fed() const
{
    int left = 1;
    for (int i = 0; i < PATIENCE_MS && ioctl(in_, FIONREAD, &left) == 0 && left > 0; i++)
        usleep(1000);
}

void Process::kill(int signal)
{
    ::kill(pid_, signal);
}

Outcome Process::finish(const std::string &bytes)
{
    size_t fed = 0;
    while (out_ >= 0 || err_ >= 0) {
        if (in_ >= 0 && fed == bytes.size())
            close_fd(in_);
        pollfd p[3] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}, {in_, POLLOUT, 0}};
        if (poll(p, 3, PATIENCE_MS) <= 0)
            throw std::runtime_error("the tool does not end");
        if (p[0].revents && !drain(out_, outcome_.out))
            close_fd(out_);
        if (p[1].revents && !drain(err_, outcome_.err))
            close_fd(err_);
        if (p[2].revents) {
            const ssize_t n = write(in_, bytes.data() + fed, bytes.size() - fed);
            if (n > 0)
                fed += static_cast<size_t>(n);
            else if (errno != EAGAIN)
                close_fd(in_);
        }
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    if (WIFEXITED(status))
        outcome_.status = WEXITSTATUS(status);
    else
        outcome_.signal = WTERMSIG(status);
    return outcome_;
}

} // namespace talv_test
