#include "platform/linux/system/SignalInstaller.h"

#include <csignal>

namespace qn::platform::linux_host {

SignalHandler SignalInstaller::signal(int signal, SignalHandler handler) const {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    struct sigaction previous = {};
    if (::sigaction(signal, &action, &previous) != 0) {
        return SIG_ERR;
    }
    return previous.sa_handler;
}

}  // namespace qn::platform::linux_host
