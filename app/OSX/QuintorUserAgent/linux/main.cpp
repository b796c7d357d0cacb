// The agent's process on Linux: the real host behind the ports, then the agent's own
// main. The scenario player runs the same agentMain on the simulated host instead.

#include <filesystem>

#include "app/OSX/QuintorUserAgent/QuintorUserAgent.h"
#include "platform/linux/LinuxHost.h"

namespace {

// The panel's pictures: installed beside the hive template, or, for a program run from
// its build tree, the sources' own.
std::string resourceDirectory() {
    std::error_code ignored;
    if (std::filesystem::is_directory(QN_INSTALLED_RESOURCE_DIR, ignored)) {
        return QN_INSTALLED_RESOURCE_DIR;
    }
    return QN_SOURCE_RESOURCE_DIR;
}

}  // namespace

int main() {
    qn::platform::linux_host::LinuxHost host;
    // Every backend is built before the agent starts and goes after it ends. A missing
    // X server is the agent's own case to judge (status 1), not this function's.
    host.startBackends(resourceDirectory());
    const auto backend = host.install();
    return qn::app::osx::qnuapp::agentMain();
}
