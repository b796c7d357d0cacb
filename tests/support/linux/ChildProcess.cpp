#include "tests/support/linux/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace qn::testing::linux_host {

ChildProcess::ChildProcess(const std::vector<std::string>& argv,
                           const std::map<std::string, std::string>& extraEnv,
                           const std::string& logPath, int keepFd) {
    if (argv.empty()) {
        throw std::runtime_error("ChildProcess: no program");
    }
    // Everything the child needs is built before fork: only async-signal-safe calls after.
    std::vector<std::string> envText;
    for (char** e = environ; *e; ++e) {
        const std::string entry = *e;
        const auto eq = entry.find('=');
        if (eq != std::string::npos && extraEnv.count(entry.substr(0, eq))) {
            continue;
        }
        envText.push_back(entry);
    }
    for (const auto& [name, value] : extraEnv) {
        envText.push_back(name + "=" + value);
    }
    std::vector<char*> args;
    for (const auto& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    std::vector<char*> env;
    for (const auto& e : envText) {
        env.push_back(const_cast<char*>(e.c_str()));
    }
    env.push_back(nullptr);

    const int log = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (log < 0) {
        throw std::runtime_error("ChildProcess: cannot open " + logPath);
    }
    const pid_t parent = ::getpid();
    m_pid = ::fork();
    if (m_pid < 0) {
        ::close(log);
        throw std::runtime_error("ChildProcess: fork failed");
    }
    if (m_pid == 0) {
        // A test that crashes takes its servers with it instead of leaving them to init.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) {
            ::_exit(127);
        }
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
        if (keepFd >= 0) {
            const int flags = ::fcntl(keepFd, F_GETFD);
            ::fcntl(keepFd, F_SETFD, flags & ~FD_CLOEXEC);
        }
        // The test may block signals in its threads; the server must not inherit that.
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::execve(args[0], args.data(), env.data());
        ::_exit(127);
    }
    ::close(log);
}

ChildProcess::~ChildProcess() {
    stop();
}

bool ChildProcess::running() {
    if (m_reaped) {
        return false;
    }
    int status = 0;
    const pid_t r = ::waitpid(m_pid, &status, WNOHANG);
    if (r == m_pid) {
        m_reaped = true;
        m_status = status;
        return false;
    }
    return true;
}

int ChildProcess::stop() {
    if (m_reaped || m_pid <= 0) {
        return m_status;
    }
    ::kill(m_pid, SIGTERM);
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_reaped = true;
    m_status = status;
    return status;
}

ScratchDir::ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qn-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        throw std::runtime_error("ScratchDir: mkdtemp failed");
    }
    m_path = pattern;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string readWholeFile(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace qn::testing::linux_host
