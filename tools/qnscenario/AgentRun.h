#pragma once
// One run of the agent's main on the installed simulated host, with the agent's logger
// writing into a directory of the caller's choice (or nowhere).

#include <functional>
#include <string>

#include "sys/libutils/LogLevel.h"

namespace qn::tools::qnscenario {

// Thrown by the world at the scenario's last moment: the agent is left where it is.
struct ScenarioEnd {};

class AgentRun {
  public:
    struct End {
        std::string how;  // "exit", "abort", "returned" or "running"
        int status = 0;
    };

    // An empty directory: the agent logs nowhere.
    // `verbosity`: the level the agent's logger writes up to.
    explicit AgentRun(std::string logDirectory, int verbosity = sys::loglevel::DEBUG)
        : m_logDirectory(std::move(logDirectory)), m_verbosity(verbosity) {}

    // `afterEnd` runs once the agent's main has ended, while its logger still stands.
    End play(const std::function<void()>& afterEnd = nullptr);

  private:
    std::string m_logDirectory;
    int m_verbosity;
};

}  // namespace qn::tools::qnscenario
