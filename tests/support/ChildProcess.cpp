#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace qn::test {

void endWithParent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // The parent may have ended before the line above.
    if (getppid() != parent) {
        _exit(127);
    }
}

namespace {

void closeIfOpen(int& fd) {
    if (fd >= 0) {
        close(fd);
        fd = -1;
    }
}

std::vector<std::string> mergedEnvironment(const std::vector<std::string>& added) {
    std::vector<std::string> result;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry = *e;
        const std::string name = entry.substr(0, entry.find('='));
        bool replaced = false;
        for (const auto& a : added) {
            replaced = replaced || a.substr(0, a.find('=')) == name;
        }
        if (!replaced) {
            result.push_back(entry);
        }
    }
    // A bare NAME only takes the variable away.
    for (const auto& a : added) {
        if (a.find('=') != std::string::npos) {
            result.push_back(a);
        }
    }
    return result;
}

}  // namespace

ChildProcess::ChildProcess(Options options) {
    int in[2] = {-1, -1}, out[2] = {-1, -1}, three[2] = {-1, -1};
    if ((options.pipeStdin && pipe2(in, O_CLOEXEC) != 0) ||
        (options.pipeStdout && pipe2(out, O_CLOEXEC) != 0) ||
        (options.pipeFd3 && pipe2(three, O_CLOEXEC) != 0)) {
        throw std::runtime_error("pipe failed");
    }
    // Everything the child needs is made before fork: only async-signal-safe calls after.
    const auto environment = mergedEnvironment(options.environment);
    std::vector<char*> envp;
    for (const auto& e : environment)
        envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);
    std::vector<char*> argv;
    for (const auto& a : options.argv)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    int log = -1;
    if (!options.logPath.empty()) {
        log = open(options.logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (log < 0) {
            throw std::runtime_error("cannot open " + options.logPath);
        }
    }
    const pid_t parent = getpid();
    m_pid = fork();
    if (m_pid < 0) {
        closeIfOpen(log);
        throw std::runtime_error("fork failed");
    }
    if (m_pid == 0) {
        endWithParent(parent);
        if (log >= 0) {
            dup2(log, STDOUT_FILENO);
            dup2(log, STDERR_FILENO);
        }
        if (options.keepFd >= 0) {
            fcntl(options.keepFd, F_SETFD, fcntl(options.keepFd, F_GETFD) & ~FD_CLOEXEC);
        }
        if (in[0] >= 0)
            dup2(in[0], STDIN_FILENO);
        if (out[1] >= 0) {
            dup2(out[1], STDOUT_FILENO);
        } else if (!options.stdoutPath.empty()) {
            const int file = open(options.stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (file >= 0)
                dup2(file, STDOUT_FILENO);
        }
        if (three[1] == 3) {
            fcntl(3, F_SETFD, 0);
        } else if (three[1] >= 0) {
            dup2(three[1], 3);
        }
        // The child starts with the default signal state, whatever the test runner set.
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    closeIfOpen(log);
    closeIfOpen(in[0]);
    closeIfOpen(out[1]);
    closeIfOpen(three[1]);
    m_stdin = in[1];
    m_stdout = out[0];
    m_fd3 = three[0];
}

ChildProcess::~ChildProcess() {
    closeIfOpen(m_stdin);
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        wait();
    }
    closeIfOpen(m_stdout);
    closeIfOpen(m_fd3);
}

std::optional<std::string> ChildProcess::lineFrom(int fd, std::string& buffer,
                                                  std::chrono::milliseconds guard) {
    const auto deadline = std::chrono::steady_clock::now() + guard;
    for (;;) {
        if (const auto newline = buffer.find('\n'); newline != std::string::npos) {
            std::string line = buffer.substr(0, newline);
            buffer.erase(0, newline + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (fd < 0 || left.count() <= 0) {
            return std::nullopt;
        }
        pollfd p{fd, POLLIN, 0};
        const int ready = poll(&p, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return std::nullopt;
        }
        char chunk[4096];
        const ssize_t got = read(fd, chunk, sizeof chunk);
        if (got <= 0) {
            return std::nullopt;
        }
        buffer.append(chunk, static_cast<std::size_t>(got));
    }
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds guard) {
    return lineFrom(m_stdout, m_stdoutBuffer, guard);
}

std::optional<std::string> ChildProcess::readFd3Line(std::chrono::milliseconds guard) {
    return lineFrom(m_fd3, m_fd3Buffer, guard);
}

bool ChildProcess::writeLine(const std::string& line) {
    const std::string text = line + "\n";
    return m_stdin >= 0 &&
           write(m_stdin, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

void ChildProcess::closeStdin() {
    closeIfOpen(m_stdin);
}

void ChildProcess::signal(int number) const {
    if (m_pid > 0) {
        kill(m_pid, number);
    }
}

int ChildProcess::wait() {
    if (m_pid <= 0) {
        return m_status;
    }
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    m_status = status;
    return status;
}

bool ChildProcess::running() {
    if (m_pid <= 0) {
        return false;
    }
    int status = 0;
    if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_pid = -1;
        m_status = status;
        return false;
    }
    return true;
}

int ChildProcess::stop() {
    signal(SIGTERM);
    return wait();
}

int ChildProcess::exitCode(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    return WIFSIGNALED(waitStatus) ? -WTERMSIG(waitStatus) : -1;
}

}  // namespace qn::test
