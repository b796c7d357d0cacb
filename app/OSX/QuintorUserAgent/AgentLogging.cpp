#include "app/OSX/QuintorUserAgent/AgentLogging.h"

#include <boost/lexical_cast.hpp>

#include <memory>
#include <string>

namespace qn::app::osx::qnuapp {
namespace {

const char* const kAgentName = "QuintorUserAgent";

class QNUALogger : public sys::Logger::Logged {
  public:
    QNUALogger(const std::string& module, const std::string& instance)
        : sys::Identity(module, instance),
          // No file name: the agent writes only to the logger's own file.
          sys::Logger::Logged(module, instance, std::string(), 102400) {}
};

std::unique_ptr<QNUALogger>& agentLogger() {
    static std::unique_ptr<QNUALogger> logger;
    return logger;
}

}  // namespace

void startAgentLogging(pid_t processId) {
    const std::string name = kAgentName;
    sys::Logger::create(name, sys::Logger::DEBUG, false, true);
    agentLogger() = std::make_unique<QNUALogger>(name, boost::lexical_cast<std::string>(processId));
}

sys::Logger::Logged* agentLog() {
    return agentLogger().get();
}

}  // namespace qn::app::osx::qnuapp
