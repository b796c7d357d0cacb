#pragma once
// A server a test starts as its own child and reaps: ended with SIGTERM by its id and
// waited for when the owner goes, so no test leaves a process behind.

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace qn::testing::linux_host {

class ChildProcess {
  public:
    // Runs argv[0] (a full path) with the test's environment plus `extraEnv`, stdout and
    // stderr into `logPath`, and the descriptor `keepFd` (if not -1) left open. Throws
    // std::runtime_error when it cannot be started.
    ChildProcess(const std::vector<std::string>& argv,
                 const std::map<std::string, std::string>& extraEnv, const std::string& logPath,
                 int keepFd = -1);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t pid() const { return m_pid; }
    // True while the child has not exited; reaps it when it has.
    bool running();
    // SIGTERM and wait; the exit status as waitpid gives it (-1 when already reaped).
    int stop();

  private:
    pid_t m_pid = -1;
    bool m_reaped = false;
    int m_status = -1;
};

// A fresh directory under the system's temporary folder, removed with its contents.
class ScratchDir {
  public:
    ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    ~ScratchDir();
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

std::string readWholeFile(const std::string& path);

}  // namespace qn::testing::linux_host
