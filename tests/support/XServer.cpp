#include "tests/support/XServer.h"

#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace qn::test {
namespace {

// Generous: the machine is shared and loaded; readiness, not this limit, ends the wait.
constexpr int kReadyTimeoutMs = 60000;

const char* const kDummyConfig = R"(Section "ServerFlags"
  Option "AutoAddDevices" "false"
  Option "AutoEnableDevices" "false"
EndSection
Section "Device"
  Identifier "dummy"
  Driver "dummy"
  VideoRam 256000
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5.0-1000.0
  VertRefresh 5.0-200.0
EndSection
Section "Screen"
  Identifier "screen"
  Device "dummy"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Virtual 5760 2160
  EndSubSection
EndSection
)";

std::vector<char*> argvOf(std::vector<std::string>& args) {
    std::vector<char*> out;
    for (auto& a : args) {
        out.push_back(a.data());
    }
    out.push_back(nullptr);
    return out;
}

void reap(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace

std::unique_ptr<XServer> XServer::start(Kind kind, std::string* error,
                                        const std::vector<std::string>& extraArgs,
                                        const std::string& xvfbScreen) {
    char pattern[] = "/tmp/qn-xserver-XXXXXX";
    if (!::mkdtemp(pattern)) {
        *error = std::string("mkdtemp: ") + std::strerror(errno);
        return nullptr;
    }
    const std::string directory = pattern;
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
        *error = std::string("pipe: ") + std::strerror(errno);
        return nullptr;
    }
    // The child keeps the write end as this descriptor.
    constexpr int kDisplayFd = 3;
    std::vector<std::string> args;
    if (kind == Kind::Xvfb) {
        args = {"Xvfb",      "-displayfd", std::to_string(kDisplayFd),
                "-screen",   "0",          xvfbScreen,
                "-nolisten", "tcp",        "-noreset"};
    } else {
        const std::string config = directory + "/xorg.conf";
        std::ofstream(config) << kDummyConfig;
        std::filesystem::create_directory(directory + "/conf.d");
        args = {"Xorg",
                "-displayfd",
                std::to_string(kDisplayFd),
                "-config",
                config,
                "-configdir",
                directory + "/conf.d",
                "-logfile",
                directory + "/Xorg.log",
                "-nolisten",
                "tcp",
                "-noreset",
                "-novtswitch",
                "-sharevts"};
    }
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    const std::string log = directory + "/server.log";
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        *error = std::string("fork: ") + std::strerror(errno);
        return nullptr;
    }
    if (pid == 0) {
        endWithParent(parent);
        ::dup2(pipeFds[1], kDisplayFd);  // dup2 clears close-on-exec
        const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (out >= 0) {
            ::dup2(out, STDOUT_FILENO);
            ::dup2(out, STDERR_FILENO);
        }
        // Its own process group, so that a terminal's signals do not reach it.
        ::setpgid(0, 0);
        auto argv = argvOf(args);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(pipeFds[1]);
    std::string number;
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kReadyTimeoutMs);
    bool ready = false;
    while (!ready) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              deadline - std::chrono::steady_clock::now())
                              .count();
        if (left <= 0) {
            break;
        }
        pollfd p{pipeFds[0], POLLIN, 0};
        const int n = ::poll(&p, 1, static_cast<int>(left));
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            break;
        }
        char buffer[32];
        const ssize_t got = ::read(pipeFds[0], buffer, sizeof buffer);
        if (got <= 0) {
            break;  // the server ended before it was ready
        }
        number.append(buffer, static_cast<std::size_t>(got));
        ready = number.find('\n') != std::string::npos;
    }
    ::close(pipeFds[0]);
    if (!ready) {
        ::kill(pid, SIGTERM);
        reap(pid);
        std::ifstream in(log);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        *error = std::string(args[0]) + " did not get ready; its output:\n" + text;
        std::filesystem::remove_all(directory);
        return nullptr;
    }
    number.resize(number.find('\n'));
    return std::unique_ptr<XServer>(new XServer(pid, ":" + number, directory));
}

XServer::XServer(pid_t pid, std::string display, std::string directory)
    : m_pid(pid), m_display(std::move(display)), m_directory(std::move(directory)) {}

XServer::~XServer() {
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

void XServer::stop() {
    if (m_pid <= 0) {
        return;
    }
    ::kill(m_pid, SIGTERM);
    reap(m_pid);
    m_pid = -1;
}

int XServer::run(const std::vector<std::string>& argv, std::string* output) const {
    int pipeFds[2] = {-1, -1};
    if (output && ::pipe2(pipeFds, O_CLOEXEC) != 0) {
        return -1;
    }
    auto args = argv;
    const std::string display = m_display;
    const pid_t pid = ::fork();
    if (pid < 0) {
        return -1;
    }
    if (pid == 0) {
        ::setenv("DISPLAY", display.c_str(), 1);
        if (output) {
            ::dup2(pipeFds[1], STDOUT_FILENO);
        }
        auto cargv = argvOf(args);
        ::execvp(cargv[0], cargv.data());
        ::_exit(127);
    }
    if (output) {
        ::close(pipeFds[1]);
        output->clear();
        char buffer[4096];
        ssize_t got = 0;
        while ((got = ::read(pipeFds[0], buffer, sizeof buffer)) > 0 ||
               (got < 0 && errno == EINTR)) {
            if (got > 0) {
                output->append(buffer, static_cast<std::size_t>(got));
            }
        }
        ::close(pipeFds[0]);
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace qn::test
