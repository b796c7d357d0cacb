#include "platform/linux/login/LogindOwner.h"

#include <cstring>
#include <utility>

#include "platform/linux/login/LogindNames.h"

namespace qn::platform::linux_host::login {

namespace {

constexpr const char* kBusDriver = "org.freedesktop.DBus";

}  // namespace

LogindOwner::LogindOwner(sd_bus* bus, std::function<void(const std::string&)> changed)
    : m_bus(bus), m_changed(std::move(changed)) {
    // The match first, so that a change between it and the question is not lost.
    sd_bus_add_match(m_bus, m_ownerMatch.receive(),
                     "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                     "interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                     "arg0='org.freedesktop.login1'",
                     &LogindOwner::onNameOwnerChanged, this);
    BusError error;
    BusMessagePtr reply;
    if (sd_bus_call_method(m_bus, kBusDriver, "/org/freedesktop/DBus", kBusDriver, "GetNameOwner",
                           error.get(), reply.receive(), "s", LogindNames::service) >= 0) {
        const char* owner = nullptr;
        if (sd_bus_message_read(reply.get(), "s", &owner) >= 0 && owner) {
            m_owner = owner;
        }
    }
}

bool LogindOwner::sentByOwner(sd_bus_message* message) const {
    const char* sender = sd_bus_message_get_sender(message);
    return sender && !m_owner.empty() && m_owner == sender;
}

int LogindOwner::onNameOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto* self = static_cast<LogindOwner*>(userdata);
    const char* sender = sd_bus_message_get_sender(message);
    if (!sender || std::strcmp(sender, kBusDriver) != 0) {
        return 0;
    }
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) < 0 ||
        std::strcmp(name, LogindNames::service) != 0) {
        return 0;
    }
    if (self->m_owner == newOwner) {
        return 0;
    }
    self->m_owner = newOwner;
    if (self->m_changed) {
        self->m_changed(self->m_owner);
    }
    return 0;
}

}  // namespace qn::platform::linux_host::login
