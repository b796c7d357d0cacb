#pragma once
// The agent as a real process on the Linux host, with the simulated host's display and
// session facts (tests/e2e/agent): its bus is the test's, its HOME a scratch folder where
// it keeps its log, which the test reads back decrypted.

#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"

namespace qn::tests::e2e {

using ChildProcess = test::ChildProcess;

class AgentUnderTest {
  public:
    struct Options {
        std::string busAddress{};
        std::string home{};
        // More NAME=VALUE for the agent's client libraries (SYSTEMD_BUS_TIMEOUT, ...).
        std::vector<std::string> environment{};
        // Run as this user (through setpriv), not as the test's.
        std::string user{};
        // The environment variable naming the program (the simulated-displays agent by
        // default, the real one with "QN_E2E_REAL_AGENT").
        std::string programVariable = "QN_E2E_AGENT";
        // Put before the program (such as umockdev-run and its options, ending in "--").
        std::vector<std::string> wrapper{};
    };

    explicit AgentUnderTest(Options options);

    // The decrypted log's path.
    const std::string& logFile() const { return m_logFile; }
    // "refresh X Y W H": the simulated screen reports that rectangle changed.
    bool command(const std::string& line) { return m_process->writeLine(line); }
    ChildProcess& process() { return *m_process; }

    // The agent's log so far, decrypted, one message a line.
    std::vector<std::string> logMessages() const;
    // The whole log, one message a line: for a failing test's message.
    std::string logText() const;
    // How many log messages contain `text`.
    int countInLog(const std::string& text) const;
    // Waits until at least `count` messages contain `text`; false on the hang guard.
    bool waitForLog(const std::string& text, int count = 1) const;
    // When each message containing `text` was logged: the seconds since the agent's start
    // that the log line itself carries, in log order.
    std::vector<double> logTimes(const std::string& text) const;

  private:
    std::string m_logFile;
    std::unique_ptr<ChildProcess> m_process;
};

}  // namespace qn::tests::e2e
