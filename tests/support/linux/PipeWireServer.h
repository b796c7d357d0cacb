#pragma once
// Child processes for the PipeWire tests: a private PipeWire server in a runtime
// directory of its own, and its command-line tools, all started and reaped here.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace qn::platform::linux_audio::testing {

// The process's environment with some entries replaced, for execve.
class Environment {
  public:
    explicit Environment(const std::map<std::string, std::string>& replaced) {
        for (char** e = environ; *e; ++e) {
            const std::string entry = *e;
            const std::string key = entry.substr(0, entry.find('='));
            if (!replaced.count(key)) {
                m_entries.push_back(entry);
            }
        }
        for (const auto& [key, value] : replaced) {
            m_entries.push_back(key + "=" + value);
        }
        for (auto& entry : m_entries) {
            m_pointers.push_back(entry.data());
        }
        m_pointers.push_back(nullptr);
    }
    char** get() { return m_pointers.data(); }

  private:
    std::vector<std::string> m_entries;
    std::vector<char*> m_pointers;
};

// Starts a program; its standard output goes to `outFd` (or /dev/null with -1).
inline pid_t spawn(const std::vector<std::string>& argv, Environment& env, int outFd = -1) {
    std::vector<char*> args;
    for (const auto& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    const int devNull = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(outFd >= 0 ? outFd : devNull, STDOUT_FILENO);
        ::dup2(devNull, STDERR_FILENO);
        ::execvpe(args[0], args.data(), env.get());
        ::_exit(127);
    }
    ::close(devNull);
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    return pid;
}

struct Run {
    int status = -1;
    std::string out;
};

// Runs a program to its end and gives its exit status and standard output.
inline Run run(const std::vector<std::string>& argv, Environment& env) {
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const pid_t pid = spawn(argv, env, pipeFds[1]);
    ::close(pipeFds[1]);
    Run result;
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) != 0;) {
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            break;
        }
        result.out.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(pipeFds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// A PipeWire server of the test's own, in a fresh runtime directory; stopped and reaped
// by the destructor. ready() is false when it did not come up.
class PipeWireServer {
  public:
    PipeWireServer() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnpwXXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            return;
        }
        m_dir = pattern;
        ::chmod(m_dir.c_str(), 0700);
        m_env = std::make_unique<Environment>(
            std::map<std::string, std::string>{{"XDG_RUNTIME_DIR", m_dir},
                                               {"PIPEWIRE_RUNTIME_DIR", m_dir},
                                               {"PIPEWIRE_REMOTE", ""},
                                               {"DBUS_SESSION_BUS_ADDRESS", "disabled:"}});
        m_pid = spawn({"pipewire"}, *m_env);
        // Ready once a client gets an answer; bounded so a broken server fails the test.
        for (int attempt = 0; attempt < 200; ++attempt) {
            if (std::filesystem::exists(m_dir + "/pipewire-0") &&
                run({"pw-cli", "info", "0"}, *m_env).status == 0) {
                m_ready = true;
                return;
            }
            int status = 0;
            if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_pid = -1;
                return;
            }
            ::usleep(50 * 1000);
        }
    }
    ~PipeWireServer() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGTERM);
            int status = 0;
            while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
            }
        }
        if (!m_dir.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(m_dir, ignored);
        }
    }
    PipeWireServer(const PipeWireServer&) = delete;
    PipeWireServer& operator=(const PipeWireServer&) = delete;

    bool ready() const { return m_ready; }
    const std::string& runtimeDirectory() const { return m_dir; }
    Environment& environment() { return *m_env; }

  private:
    std::string m_dir;
    std::unique_ptr<Environment> m_env;
    pid_t m_pid = -1;
    bool m_ready = false;
};

}  // namespace qn::platform::linux_audio::testing
