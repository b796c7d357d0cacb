#include "platform/linux/login/SleepInhibitor.h"

#include <fcntl.h>

#include "platform/linux/bus/CallWithoutDeadline.h"
#include "platform/linux/bus/TerminationSignalsHeld.h"
#include "platform/linux/login/LogindNames.h"

namespace qn::platform::linux_host::login {

namespace {

constexpr const char* kWho = "QuintorUserAgent";
constexpr const char* kWhy = "Tells the display adapters' service before the system sleeps";

}  // namespace

bool SleepInhibitor::take() {
    if (held()) {
        return true;
    }
    m_request.reset();
    const TerminationSignalsHeld held;
    BusError error;
    BusMessagePtr reply;
    if (sd_bus_call_method(m_bus, LogindNames::service, LogindNames::managerPath,
                           LogindNames::managerInterface, "Inhibit", error.get(), reply.receive(),
                           "ssss", "sleep", kWho, kWhy, "delay") < 0) {
        return false;
    }
    return keep(reply.get());
}

void SleepInhibitor::takeSoon() {
    if (held() || m_request) {
        return;
    }
    BusMessagePtr request;
    if (sd_bus_message_new_method_call(m_bus, request.receive(), LogindNames::service,
                                       LogindNames::managerPath, LogindNames::managerInterface,
                                       "Inhibit") < 0 ||
        sd_bus_message_append(request.get(), "ssss", "sleep", kWho, kWhy, "delay") < 0 ||
        callWithoutDeadline(m_bus, m_request, request.get(), &SleepInhibitor::onGranted, this) <
            0) {
        m_request.reset();
    }
}

void SleepInhibitor::release() {
    // A lock still on its way would otherwise be kept after being let go.
    m_request.reset();
    m_lock.reset();
}

int SleepInhibitor::onGranted(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    auto* self = static_cast<SleepInhibitor*>(userdata);
    self->m_request.reset();
    if (!sd_bus_message_is_method_error(reply, nullptr)) {
        self->keep(reply);
    }
    return 0;
}

bool SleepInhibitor::keep(sd_bus_message* reply) {
    int fd = -1;
    if (sd_bus_message_read(reply, "h", &fd) < 0) {
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
