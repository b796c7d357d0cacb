#include "platform/linux/system/SignalInstaller.h"

#include <csignal>

namespace qn::platform::linux_host {

SignalHandler SignalInstaller::signal(int signal, SignalHandler handler) const {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a caught SIGTERM must end a blocking wait, not resume it.
    action.sa_flags = 0;
    struct sigaction previous = {};
    if (::sigaction(signal, &action, &previous) != 0) {
        return SIG_ERR;
    }
    return previous.sa_handler;
}

}  // namespace qn::platform::linux_host
