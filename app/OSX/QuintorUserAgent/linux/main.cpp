// The agent's process on Linux: the real host behind the ports, then the agent's own
// main. The scenario player runs the same agentMain on the simulated host instead.

#include <cstdio>

#include "app/OSX/QuintorUserAgent/QuintorUserAgent.h"
#include "platform/linux/LinuxHost.h"

int main() {
    qn::platform::linux_host::LinuxHost host;
    // The display, registry, surface, audio and window backends fill their slots here as
    // they join the build. Without them there is no window server to speak of: the
    // status is the agent's own for that case.
    if (!host.complete()) {
        std::fputs("QuintorUserAgent: this build has no display backend\n", stderr);
        return 1;
    }
    const auto backend = host.install();
    return qn::app::osx::qnuapp::agentMain();
}
