#pragma once
// A scenario file: a world to start from and steps over virtual time. Parsing checks
// everything before anything is played, and reports the line of what it rejects. The
// format is described in docs/scenarios.md.

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qn::tools::qnscenario {

class ScenarioPlayer;

class ScenarioError : public std::runtime_error {
  public:
    ScenarioError(int line, const std::string& message)
        : std::runtime_error("line " + std::to_string(line) + ": " + message),
          m_line(line),
          m_message(message) {}
    int line() const { return m_line; }
    const std::string& message() const { return m_message; }

  private:
    int m_line;
    std::string m_message;
};

struct ScenarioStep {
    int line = 0;
    std::string kind;
    // For an advance step, its seconds.
    double advance = 0;
    // False when an expectation failed; the reason goes to `why`.
    std::function<bool(ScenarioPlayer& player, std::string& why)> run;
};

struct Scenario {
    std::string description;
    // The agent's own main runs on the host and the steps are the world around it, each
    // at the virtual time the advance steps before it add up to; the last of these
    // times ends the scenario. Otherwise the steps stand in for the agent.
    bool agent = false;
    std::function<void(ScenarioPlayer& player)> setUp;
    std::vector<ScenarioStep> steps;
};

// Throws ScenarioError for a syntax error or anything the format does not allow.
Scenario parseScenario(const std::string& text);

}  // namespace qn::tools::qnscenario
