#pragma once
// The servers an end-to-end test starts for itself, each its own child, reaped when the
// object goes: a private dbus-daemon (a session-type bus, or a system-type bus with the
// packaged policy), the Manager stand-in, and a scratch folder. Later suites (X servers,
// audio) add theirs here. A server that does not come up fails the test.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/support/ChildProcess.h"

namespace qn::tests::e2e {

using ChildProcess = test::ChildProcess;

// A folder below /tmp, removed with its content at the end.
class ScratchDirectory {
  public:
    ScratchDirectory();
    ~ScratchDirectory();
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

// The path of a program built beside the tests, from the environment variable CTest sets.
std::string builtProgram(const char* variable);
std::string sourceDirectory();

class DbusDaemon {
  public:
    enum class Kind { Session, SystemWithPolicy };

    // Throws std::runtime_error when the daemon gives no address. A session bus listens
    // in the scratch folder; with `socketName` on that fixed socket, so that a daemon
    // started again later is found at the same address.
    DbusDaemon(const ScratchDirectory& scratch, Kind kind, const std::string& socketName = "");
    const std::string& address() const { return m_address; }

  private:
    std::unique_ptr<ChildProcess> m_process;
    std::string m_address;
};

class ManagerStandIn {
  public:
    // Throws std::runtime_error when it does not report ready. With a transcript file the
    // transcript goes there, unread (for benchmarks: a pipe nobody drains would block).
    ManagerStandIn(const std::string& busAddress, std::vector<std::string> extraArguments = {},
                   const std::string& transcriptFile = "");

    // The next transcript line, parsed; nothing at end of output or on the hang guard.
    std::optional<nlohmann::json> next();
    // Reads up to and including the first line with "call" == selector; the lines before
    // it are kept in `skipped` when given.
    std::optional<nlohmann::json> nextCall(const std::string& selector,
                                           std::vector<nlohmann::json>* skipped = nullptr);
    bool command(const std::string& line) { return m_process->writeLine(line); }
    ChildProcess& process() { return *m_process; }

  private:
    std::unique_ptr<ChildProcess> m_process;
};

}  // namespace qn::tests::e2e
