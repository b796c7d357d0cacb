#pragma once
// One run of the agent's main on the installed simulated host, with the agent's logger
// writing into a directory of the caller's choice (or nowhere).

#include <functional>
#include <string>

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
    explicit AgentRun(std::string logDirectory) : m_logDirectory(std::move(logDirectory)) {}

    // `afterEnd` runs once the agent's main has ended, while its logger still stands.
    End play(const std::function<void()>& afterEnd = nullptr);

  private:
    std::string m_logDirectory;
};

}  // namespace qn::tools::qnscenario
