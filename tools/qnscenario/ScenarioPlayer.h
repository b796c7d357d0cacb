#pragma once
// Plays a scenario on a simulated host installed as the process's backend, and writes
// the transcript as JSON lines: what the simulated Manager saw, and either how the agent
// itself started and ended, or what a stand-in for the agent saw through the ports.

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "app/OSX/QuintorUserAgent/MessageWindowRecorder.h"
#include "platform/AppKit.h"
#include "platform/Backend.h"
#include "platform/Foundation.h"
#include "platform/Registration.h"
#include "platform/sim/SimHost.h"
#include "platform/sim/SimStreamingManager.h"
#include "platform/sim/SimWorld.h"
#include "tools/qnscenario/Scenario.h"
#include "tools/qnscenario/StreamTranscript.h"

namespace qn::tools::qnscenario {

class ScenarioPlayer {
  public:
    // With a log directory, the agent's logger writes its file there.
    explicit ScenarioPlayer(std::ostream& out, std::string logDirectory = std::string());
    ~ScenarioPlayer();

    // Sets the world up and runs the steps; false with the reason in `failure` when an
    // expectation failed or the host saw objects misused.
    bool play(const Scenario& scenario, std::string& failure);

    platform::sim::SimHost& host() { return m_host; }
    platform::sim::SimWorld& world() { return m_world; }
    // The Manager's side of display streams.
    platform::sim::SimStreamingManager& streaming() { return m_streaming; }
    // The message panel's requests.
    const app::osx::qnuapp::MessageWindowRecorder& messages() const { return m_messages; }

    // Stand-in for the agent, through the ports.
    void connect();
    void call(const std::string& selector, const std::vector<platform::Value>& arguments);
    void observe(const std::string& name);
    void watchDisplays();
    // A message shown as the agent shows one: the text, with the link's host name
    // appended as a hyperlink when there is a link; with a title only when `titled`.
    void showMessage(const std::string& text, bool titled, const std::string& title,
                     const std::string& link);
    // A click on the icon of a window; false (and why) when it has none or is closed.
    bool clickIcon(platform::NSWindowRef window, std::string& why);

    // The agent's log level (DEBUG unless the world says otherwise).
    void setLogVerbosity(int level) { m_logVerbosity = level; }

    // A signal from outside the process, to the handler the agent installed.
    void signal(int number);
    // How the agent's process ended: "exit" (through the System port), "returned" (from
    // its main) or "running" (still in its run loop when the scenario ended).
    const std::string& agentEnd() const { return m_agentEnd; }
    int agentStatus() const { return m_agentStatus; }

    // Expectations over what happened since the previous expectation. On failure the
    // reason is written to `why`.
    bool expectCalls(const std::vector<std::string>& selectors, std::string& why);
    bool expectObserved(const std::vector<std::string>& names, std::string& why);

    // One line of the transcript, stamped with the virtual time.
    void write(const nlohmann::ordered_json& line);

  private:
    bool playAgent(const Scenario& scenario, std::string& failure);
    void writeAt(double time, const nlohmann::ordered_json& line);
    bool finish(std::string& failure);
    static void reconfigurationCallback(platform::CGDirectDisplayID display,
                                        platform::CGDisplayChangeSummaryFlags flags, void* player);

    std::ostream& m_out;
    std::string m_logDirectory;
    int m_logVerbosity;
    std::string m_agentEnd;
    int m_agentStatus = 0;
    std::string m_worldFailure;
    platform::sim::SimHost m_host;
    platform::sim::SimWorld m_world;
    platform::ScopedBackend m_backend;
    platform::sim::SimStreamingManager m_streaming{m_host, m_world};
    StreamTranscript m_streamTranscript;
    app::osx::qnuapp::MessageWindowRecorder m_messages;
    platform::ProxyRef m_proxy;
    // After the host and its backend, so that they go before them.
    std::vector<platform::Registration> m_observations;
    platform::Registration m_reconfiguration;
    // Set while the moment after the agent's end passes: nothing goes to the transcript.
    bool m_closed = false;
    std::size_t m_callsChecked = 0;
    std::vector<std::string> m_observed;
    std::size_t m_observedChecked = 0;
};

}  // namespace qn::tools::qnscenario
