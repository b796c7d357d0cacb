#include "platform/linux/login/LogindOwner.h"

#include <cstring>
#include <utility>

#include "platform/linux/bus/CallWithoutDeadline.h"
#include "platform/linux/login/LogindNames.h"

namespace qn::platform::linux_host::login {

namespace {

constexpr const char* kBusDriver = "org.freedesktop.DBus";

}  // namespace

LogindOwner::LogindOwner(sd_bus* bus, std::function<void(const std::string&)> changed)
    : m_bus(bus), m_changed(std::move(changed)) {
    // Neither is waited for: the daemon handles one connection's messages in order, so
    // the match stands before the question is answered, and no change between them is
    // lost. A change heard before the answer is newer than nothing and older than it.
    sd_bus_add_match_async(m_bus, m_ownerMatch.receive(),
                           "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/"
                           "DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                           "arg0='org.freedesktop.login1'",
                           &LogindOwner::onNameOwnerChanged, &ignoreInstallFailure, this);
    BusMessagePtr question;
    if (sd_bus_message_new_method_call(m_bus, question.receive(), kBusDriver,
                                       "/org/freedesktop/DBus", kBusDriver, "GetNameOwner") >= 0 &&
        sd_bus_message_append(question.get(), "s", LogindNames::service) >= 0) {
        callWithoutDeadline(m_bus, m_ownerQuestion, question.get(), &LogindOwner::onOwnerAnswer,
                            this);
    }
}

int LogindOwner::ignoreInstallFailure(sd_bus_message*, void*, sd_bus_error*) {
    // A refused match leaves owner changes unheard; the connection itself stays.
    return 0;
}

int LogindOwner::onOwnerAnswer(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    auto* self = static_cast<LogindOwner*>(userdata);
    self->m_ownerQuestion.reset();
    const char* owner = nullptr;
    // NameHasNoOwner leaves the owner empty: logind is not there yet.
    if (!sd_bus_message_is_method_error(reply, nullptr) &&
        sd_bus_message_read(reply, "s", &owner) >= 0 && owner) {
        self->m_owner = owner;
    }
    return 0;
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
