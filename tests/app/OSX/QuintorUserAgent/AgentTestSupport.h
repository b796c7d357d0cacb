#pragma once
// A simulated host with one display and a running Manager, installed as the backend,
// and the agent's log in a scratch directory, read back as "LEVEL message" lines.

#include <memory>
#include <string>
#include <vector>

#include "app/OSX/QuintorUserAgent/AgentLogging.h"
#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"
#include "sys/libutils/LogLine.h"
#include "tests/sys/libutils/LogTestSupport.h"

namespace qn::app::osx::qnuapp::testing {

constexpr platform::CGDirectDisplayID kDisplay = 69734272;

class AgentHost {
  public:
    AgentHost()
        : m_logger("QuintorUserAgent", sys::Logger::DEBUG, false, true, nullptr,
                   std::make_unique<qn::testing::DirectoryConfiguration>(m_dir.path())) {
        platform::sim::SimDisplaySpec spec;
        spec.display.id = kDisplay;
        spec.display.bounds = platform::CGRectMake(0, 0, 1440, 900);
        spec.display.pixelWidth = 1440;
        spec.display.pixelHeight = 900;
        m_world.placeDisplay(spec);
        m_host.quartz().setMainDisplay(kDisplay);
        platform::Value session;
        session.set(platform::kCGSSessionOnConsoleKey, platform::kCFBooleanTrue());
        session.set(platform::kCGSessionLoginDoneKey, platform::kCFBooleanTrue());
        m_host.quartz().setSession(session);
        m_host.manager().setRegistered(true);
        startAgentLogging(4242);
    }

    platform::sim::SimHost& host() { return m_host; }
    platform::sim::SimWorld& world() { return m_world; }
    sys::Logger& logger() { return m_logger; }

    // The agent's lines since the last call.
    std::vector<std::string> newLines() {
        const auto back = qn::testing::readLogFile(m_dir / "QuintorUserAgent.log");
        std::vector<std::string> lines;
        for (std::size_t i = m_seen; i < back.lines.size(); ++i) {
            sys::logline::Fields f;
            if (sys::logline::parse(back.lines[i], f) && f.instance == "4242") {
                lines.push_back(std::string(f.level) + " " + std::string(f.message));
            }
        }
        m_seen = back.lines.size();
        return lines;
    }

    // Selectors the Manager got since the last call, raised or not.
    std::vector<std::string> newCalls() {
        std::vector<std::string> calls;
        const auto& transcript = m_host.manager().transcript();
        for (std::size_t i = m_callsSeen; i < transcript.size(); ++i) {
            if (transcript[i].kind == platform::sim::SimManagerEvent::Kind::Call) {
                calls.push_back(transcript[i].name);
            }
        }
        m_callsSeen = transcript.size();
        return calls;
    }

  private:
    platform::sim::SimHost m_host;
    platform::sim::SimWorld m_world{m_host};
    platform::ScopedBackend m_backend{m_host.backend()};
    qn::testing::ScratchDir m_dir;
    sys::Logger m_logger;
    std::size_t m_seen = 0;
    std::size_t m_callsSeen = 0;
};

}  // namespace qn::app::osx::qnuapp::testing
