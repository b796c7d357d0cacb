#pragma once
// A server or program a test starts as its own child, and reaps: its stdin and stdout
// as pipes or its output into a file, one more descriptor (3 in the child, or one of the
// test's kept open) for a readiness or address line, and the guarantee that it is ended
// and waited for when the object goes, by its own id. A child whose test dies is sent
// SIGTERM by the kernel, so no server outlives a crashed test.
// Reads wait for a line with a deadline that only guards against a hang: the machine
// may be loaded, so it is generous and never part of what a test asserts.

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace qn::test {

// Called in a child right after fork: the child ends when `parent`, the process that
// forked it, ends, even by a crash, so that no server outlives the test that started it.
void endWithParent(pid_t parent);

class ChildProcess {
  public:
    struct Options {
        std::vector<std::string> argv;
        // NAME=VALUE added to (or replacing in) the test's environment; a bare NAME
        // removes it.
        std::vector<std::string> environment;
        bool pipeStdin = false;
        bool pipeStdout = false;
        // Descriptor 3 of the child writes into a pipe read by readFd3Line.
        bool pipeFd3 = false;
        // Without a pipe: stdout into this file (e.g. /dev/null) instead of the test's.
        std::string stdoutPath;
        // Stdout and stderr both into this file (a server's log).
        std::string logPath;
        // A descriptor of the test's left open in the child at the same number.
        int keepFd = -1;
    };

    static constexpr std::chrono::seconds kHangGuard{90};

    explicit ChildProcess(Options options);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    // SIGKILL and wait, if still running.
    ~ChildProcess();

    pid_t pid() const { return m_pid; }
    // False once the child has ended (it is then reaped, its status kept).
    bool running();
    // SIGTERM and wait: the wait status (the kept one when it had already ended).

    // One line from the child's stdout / descriptor 3; nothing on end of file or when the
    // hang guard expires.
    std::optional<std::string> readLine(std::chrono::milliseconds guard = kHangGuard);
    std::optional<std::string> readFd3Line(std::chrono::milliseconds guard = kHangGuard);
    // Writes a line (a newline is added) to the child's stdin.
    bool writeLine(const std::string& line);
    void closeStdin();

    void signal(int number) const;
    int stop();
    // Waits for the child's end; the wait status.
    int wait();
    // The exit status, or -signal when a signal ended it.
    static int exitCode(int waitStatus);

  private:
    static std::optional<std::string> lineFrom(int fd, std::string& buffer,
                                               std::chrono::milliseconds guard);

    pid_t m_pid = -1;
    int m_status = -1;
    int m_stdin = -1;
    int m_stdout = -1;
    int m_fd3 = -1;
    std::string m_stdoutBuffer;
    std::string m_fd3Buffer;
};

}  // namespace qn::test
