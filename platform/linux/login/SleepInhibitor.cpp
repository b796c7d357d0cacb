#include "platform/linux/login/SleepInhibitor.h"

#include <fcntl.h>

#include "platform/linux/login/LogindNames.h"

namespace qn::platform::linux_host::login {

bool SleepInhibitor::take() {
    if (held()) {
        return true;
    }
    BusError error;
    BusMessagePtr reply;
    if (sd_bus_call_method(
            m_bus, LogindNames::service, LogindNames::managerPath, LogindNames::managerInterface,
            "Inhibit", error.get(), reply.receive(), "ssss", "sleep", "QuintorUserAgent",
            "Tells the display adapters' service before the system sleeps", "delay") < 0) {
        return false;
    }
    int fd = -1;
    if (sd_bus_message_read(reply.get(), "h", &fd) < 0) {
        return false;
    }
    // The message owns the descriptor it carries; keep a copy of our own.
    const int own = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    if (own < 0) {
        return false;
    }
    m_lock.reset(own);
    return true;
}

}  // namespace qn::platform::linux_host::login
