#include "tools/qnscenario/ScenarioPlayer.h"

#include <cstring>
#include <fstream>
#include <sstream>

#include "app/OSX/QuintorUserAgent/Hyperlink.h"
#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"
#include "platform/AttributedString.h"
#include "platform/Observation.h"
#include "platform/Quartz.h"
#include "platform/StringsTable.h"
#include "sys/libutils/Logger.h"
#include "tools/qnscenario/AgentRun.h"
#include "tools/transcript/TranscriptLines.h"
#include "tools/transcript/ValueJson.h"

namespace qn::tools::qnscenario {

using platform::sim::SimManagerEvent;
using platform::sim::SimRunLoop;
using transcript::valueToJson;

// Long enough for a stopped status and the deletion 100 ns after it.
constexpr SimRunLoop::Nanoseconds kAfterEnd = 1000;

namespace {

nlohmann::ordered_json managerLine(const SimManagerEvent& event) {
    switch (event.kind) {
        case SimManagerEvent::Kind::Lookup:
            return {{"lookup", event.name}, {"found", event.found}};
        case SimManagerEvent::Kind::Call: {
            auto line = transcript::callLine(event.name, event.arguments);
            if (!event.delivered) {
                line["delivered"] = false;
            }
            if (!event.raised.empty()) {
                line["raised"] = event.raised;
            }
            return line;
        }
        case SimManagerEvent::Kind::Post:
            return transcript::postLine(event.name, event.userInfo);
        case SimManagerEvent::Kind::Died:
            return transcript::managerLine("died");
        case SimManagerEvent::Kind::Registered:
            return transcript::managerLine("registered");
    }
    return {};
}

nlohmann::ordered_json windowLine(const platform::sim::SimWindow& window,
                                  platform::sim::SimAppKit::WindowEvent event) {
    using Event = platform::sim::SimAppKit::WindowEvent;
    if (event != Event::Shown) {
        return {{"window", event == Event::Hidden ? "hidden" : "closed"}, {"id", window.id}};
    }
    // What a person sees: the title, the text field's text and the link it carries.
    std::string text;
    nlohmann::ordered_json link = nullptr;
    for (const auto& view : window.subviews) {
        if (view.kind != platform::NSViewSpec::Kind::TextField) {
            continue;
        }
        const auto message =
            platform::NSAttributedString::fromValue(view.properties.get("attributedStringValue"));
        text = message.string();
        for (const auto& run : message.runs()) {
            const auto url = run.attributes.get(platform::NSLinkAttributeName);
            if (url.isString() && link.is_null()) {
                link = url.stringValue();
            }
        }
        break;
    }
    const auto& f = window.frame;
    return {
        {"window", "shown"},     {"id", window.id},
        {"title", window.title}, {"text", text},
        {"link", link},          {"frame", {f.origin.x, f.origin.y, f.size.width, f.size.height}}};
}

// A property written to an audio device, on the thread that wrote it.
nlohmann::ordered_json audioLine(const platform::sim::SimCoreAudio::SetCall& call) {
    std::string selector;
    for (int shift = 24; shift >= 0; shift -= 8) {
        selector += static_cast<char>((call.selector >> shift) & 0xff);
    }
    nlohmann::ordered_json line{{"audio", "set"}, {"device", call.object}, {"property", selector}};
    if (call.bytes.size() == sizeof(double)) {
        double value = 0;
        std::memcpy(&value, call.bytes.data(), sizeof(value));
        line["value"] = value;
    } else {
        line["bytes"] = call.bytes.size();
    }
    if (call.result != platform::noErr) {
        line["status"] = call.result;
    }
    return line;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return "[" + text + "]";
}

}  // namespace

namespace {

nlohmann::ordered_json messageLine(const app::osx::qnuapp::MessageWindowRequest& request) {
    nlohmann::ordered_json message{{"title", request.title}, {"text", request.message.string()}};
    for (const auto& run : request.message.runs) {
        if (!run.link.empty()) {
            message["linkText"] = run.text;
            message["link"] = run.link;
        }
    }
    message["interval"] = request.interval;
    message["controller"] = request.controller;
    return {{"message", message}};
}

// The bundle's own strings table, as the application ships it.
void loadShippedStrings(platform::sim::SimFoundation& foundation) {
    std::ifstream file(std::string(QN_RESOURCES_DIR) + "/QuintorUserAgent.strings");
    std::stringstream text;
    text << file.rdbuf();
    for (const auto& [key, value] : platform::parseStringsTable(text.str())) {
        foundation.setLocalizedString("QuintorUserAgent", key, value);
    }
}

}  // namespace

ScenarioPlayer::ScenarioPlayer(std::ostream& out, std::string logDirectory)
    : m_out(out),
      m_logDirectory(std::move(logDirectory)),
      m_logVerbosity(sys::Logger::DEBUG),
      m_world(m_host),
      m_backend(m_host.backend()),
      m_streamTranscript(m_host, [this](const nlohmann::ordered_json& line) { write(line); }),
      m_messages([this](const app::osx::qnuapp::MessageWindowRequest& request) {
          write(messageLine(request));
      }) {
    m_host.manager().setListener([this](const SimManagerEvent& event) {
        auto line = managerLine(event);
        m_streamTranscript.normalise(line, event);
        write(line);
    });
    m_host.ioKit().setCallListener([this](const platform::sim::SimUserClientCall& call) {
        write(m_streamTranscript.driverLine(call));
    });
    loadShippedStrings(m_host.foundation());
    m_host.appKit().setWindowListener(
        [this](const platform::sim::SimWindow& window,
               platform::sim::SimAppKit::WindowEvent event) { write(windowLine(window, event)); });
    // Written on the audio thread while the world's step waits for it (flush), so the
    // line stands between those of the step before and after.
    m_host.coreAudio().setSetCallObserver(
        [this](const platform::sim::SimCoreAudio::SetCall& call) { write(audioLine(call)); });
}

ScenarioPlayer::~ScenarioPlayer() {
    // Nothing observed or called back from here on.
    m_reconfiguration.reset();
    m_observations.clear();
    m_host.manager().setListener(nullptr);
    m_host.appKit().setWindowListener(nullptr);
    m_host.coreAudio().flush();
    m_host.coreAudio().setSetCallObserver(nullptr);
    m_host.ioKit().setCallListener(nullptr);
    m_host.quartz().setSurfaceWatcher(nullptr);
}

bool ScenarioPlayer::play(const Scenario& scenario, std::string& failure) {
    scenario.setUp(*this);
    if (scenario.agent) {
        return playAgent(scenario, failure);
    }
    for (const auto& step : scenario.steps) {
        std::string why;
        if (!step.run(*this, why)) {
            failure = "line " + std::to_string(step.line) + ": " + step.kind + ": " + why;
            return false;
        }
    }
    // What is due now still happens; a scenario ends when its last step has.
    m_host.runLoop().runPending();
    m_streamTranscript.flush();
    return finish(failure);
}

bool ScenarioPlayer::playAgent(const Scenario& scenario, std::string& failure) {
    // The steps become the world's events on the virtual clock.
    auto& runLoop = m_host.runLoop();
    double at = 0;
    for (const auto& step : scenario.steps) {
        if (step.kind == "advance") {
            at += step.advance;
            continue;
        }
        runLoop.scheduleWorld(
            static_cast<SimRunLoop::Nanoseconds>(at * SimRunLoop::kSecond), [this, &step] {
                std::string why;
                if (!step.run(*this, why) && m_worldFailure.empty()) {
                    m_worldFailure =
                        "line " + std::to_string(step.line) + ": " + step.kind + ": " + why;
                }
            });
    }
    const auto end = static_cast<SimRunLoop::Nanoseconds>(at * SimRunLoop::kSecond);
    // The end of the scenario unwinds the agent wherever it is, run loop or wait.
    runLoop.scheduleWorld(end, [] { throw ScenarioEnd{}; });
    m_host.foundation().setRunHorizon(end);

    AgentRun run(m_logDirectory, m_logVerbosity);
    // The agent's objects went with its main; updaters they stopped end with the stopped
    // status a moment later. That moment still passes, outside the transcript.
    double endedAt = 0;
    const AgentRun::End ended = run.play([this, &runLoop, &endedAt] {
        endedAt = runLoop.nowSeconds();
        m_closed = true;
        runLoop.advance(kAfterEnd);
        m_closed = false;
    });
    m_agentEnd = ended.how;
    m_agentStatus = ended.status;
    m_streamTranscript.flush();
    nlohmann::ordered_json line{{"agent", m_agentEnd}};
    if (m_agentEnd != "running") {
        line["status"] = m_agentStatus;
    }
    // Stamped with the moment the agent ended.
    writeAt(endedAt, line);
    if (!m_worldFailure.empty()) {
        failure = m_worldFailure;
        return false;
    }
    return finish(failure);
}

bool ScenarioPlayer::finish(std::string& failure) {
    m_host.coreAudio().flush();
    const auto faults = m_host.faults().list();
    if (!faults.empty()) {
        failure = "the host saw objects misused: " + faults.front();
        return false;
    }
    const auto& problems = m_streaming.problems();
    if (!problems.empty()) {
        failure = "the Manager saw the stream protocol broken: " + problems.front();
        return false;
    }
    return true;
}

void ScenarioPlayer::write(const nlohmann::ordered_json& line) {
    writeAt(m_host.runLoop().nowSeconds(), line);
}

void ScenarioPlayer::writeAt(double time, const nlohmann::ordered_json& line) {
    if (m_closed) {
        return;
    }
    // Counts that changed before this line come first.
    m_streamTranscript.flush();
    m_out << transcript::stamped(time, line).dump() << '\n';
}

void ScenarioPlayer::signal(int number) {
    if (!m_host.system().raise(number)) {
        write({{"signal", number}, {"handled", false}});
    }
}

void ScenarioPlayer::connect() {
    m_proxy = platform::foundation().rootProxyForConnectionWithRegisteredName(
        platform::sim::SimManager::kRegisteredName, nullptr);
    m_proxy.setProtocolForProxy("QNUAMessageHandlerProtocol");
}

void ScenarioPlayer::call(const std::string& selector,
                          const std::vector<platform::Value>& arguments) {
    try {
        // A call without a proxy does nothing, as a message to nil.
        m_proxy.call(selector, arguments);
    } catch (const platform::ProxyException& e) {
        write({{"agent", "exception"}, {"call", selector}, {"reason", e.reason()}});
    }
}

void ScenarioPlayer::observe(const std::string& name) {
    m_observations.push_back(platform::observe(
        platform::foundation().distributedCenter(), this,
        [this](const platform::NSNotification& notification) {
            m_observed.push_back(notification.name);
            write({{"agent", "notification"},
                   {"name", notification.name},
                   {"userInfo", valueToJson(notification.userInfo)}});
        },
        name, nullptr));
}

void ScenarioPlayer::reconfigurationCallback(platform::CGDirectDisplayID display,
                                             platform::CGDisplayChangeSummaryFlags flags,
                                             void* player) {
    static_cast<ScenarioPlayer*>(player)->write(
        {{"agent", "reconfiguration"}, {"display", display}, {"flags", flags}});
}

void ScenarioPlayer::watchDisplays() {
    if (m_reconfiguration) {
        return;
    }
    auto& quartz = platform::quartz();
    if (quartz.CGDisplayRegisterReconfigurationCallback(&reconfigurationCallback, this) !=
        platform::kCGErrorSuccess) {
        return;
    }
    m_reconfiguration = platform::Registration([this] {
        platform::quartz().CGDisplayRemoveReconfigurationCallback(&reconfigurationCallback, this);
    });
}

void ScenarioPlayer::showMessage(const std::string& text, bool titled, const std::string& title,
                                 const std::string& link) {
    platform::NSMutableAttributedString message(text);
    if (!link.empty()) {
        const auto url = platform::NSURL::URLWithString(link);
        message.appendAttributedString(
            app::osx::qnuapp::hyperlinkFromString_withURL(url.host(), url));
    }
    // The timer keeps the controller until it closes the window.
    auto controller = app::osx::qnuapp::QNUAMessageWindowController::create();
    if (titled) {
        controller->showWindow_forTimeInterval_withTitle(message, 15, title);
    } else {
        controller->showWindow_forTimeInterval(message, 15);
    }
}

bool ScenarioPlayer::clickIcon(platform::NSWindowRef window, std::string& why) {
    auto& kit = m_host.appKit();
    const auto* w = kit.window(window);
    if (w) {
        for (std::size_t i = 0; i < w->subviews.size(); ++i) {
            if (w->subviews[i].properties.get("imageNamed").isString()) {
                if (kit.click(window, i)) {
                    return true;
                }
                break;
            }
        }
    }
    why = "window " + std::to_string(window) + " has no icon to click";
    return false;
}

bool ScenarioPlayer::expectCalls(const std::vector<std::string>& selectors, std::string& why) {
    const auto calls = m_host.manager().calls();
    std::vector<std::string> seen;
    for (auto i = m_callsChecked; i < calls.size(); ++i) {
        seen.push_back(calls[i].name);
    }
    m_callsChecked = calls.size();
    if (seen == selectors) {
        return true;
    }
    why = "expected calls " + joined(selectors) + ", the Manager got " + joined(seen);
    return false;
}

bool ScenarioPlayer::expectObserved(const std::vector<std::string>& names, std::string& why) {
    std::vector<std::string> seen(m_observed.begin() + static_cast<long>(m_observedChecked),
                                  m_observed.end());
    m_observedChecked = m_observed.size();
    if (seen == names) {
        return true;
    }
    why = "expected notifications " + joined(names) + ", observed " + joined(seen);
    return false;
}

}  // namespace qn::tools::qnscenario
