#include "tools/qnscenario/AgentRun.h"

#include <memory>

#include "app/OSX/QuintorUserAgent/QuintorUserAgent.h"
#include "platform/sim/SimSystem.h"
#include "sys/libutils/DirectoryLoggerConfiguration.h"
#include "sys/libutils/Logger.h"

namespace qn::tools::qnscenario {

namespace {
constexpr const char* kAgentName = "QuintorUserAgent";
}  // namespace

AgentRun::End AgentRun::play(const std::function<void()>& afterEnd) {
    const bool withLogFile = !m_logDirectory.empty();
    // Built first, so that the agent's start-up finds it as the process's logger.
    sys::Logger logger(kAgentName, m_verbosity, false, withLogFile, nullptr,
                       withLogFile
                           ? std::make_unique<sys::DirectoryLoggerConfiguration>(m_logDirectory)
                           : std::make_unique<sys::LoggerConfiguration>());
    End end;
    try {
        end = End{"returned", app::osx::qnuapp::agentMain()};
    } catch (const platform::sim::SimExit& e) {
        end = End{"exit", e.status};
    } catch (const platform::sim::SimAbort&) {
        // As a shell reports a process ended by SIGABRT.
        end = End{"abort", 134};
    } catch (const ScenarioEnd&) {
        end = End{"running", 0};
    }
    if (afterEnd) {
        afterEnd();
    }
    return end;
}

}  // namespace qn::tools::qnscenario
