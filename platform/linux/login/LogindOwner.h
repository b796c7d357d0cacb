#pragma once
// logind's current unique name on the bus. Signals are trusted only from it: a match on
// the well-known name is enforced by the bus daemon alone, and any broader match on the
// same connection lets other senders' signals reach the callbacks too.

#include <systemd/sd-bus.h>

#include <functional>
#include <string>

#include "platform/linux/bus/BusHandles.h"

namespace qn::platform::linux_host::login {

class LogindOwner {
  public:
    // The bus stays the caller's and must outlive this object. `changed` runs after each
    // change of owner, with the new one ("" when logind left).
    explicit LogindOwner(sd_bus* bus, std::function<void(const std::string&)> changed = {});
    LogindOwner(const LogindOwner&) = delete;
    LogindOwner& operator=(const LogindOwner&) = delete;

    // True when the message was sent by logind as it is now.
    bool sentByOwner(sd_bus_message* message) const;
    // Empty while logind is not on the bus, and until the bus has answered who owns it.
    const std::string& owner() const { return m_owner; }
    // True once the bus has answered the question asked at construction.
    bool answered() const { return !m_ownerQuestion; }

  private:
    static int onNameOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int onOwnerAnswer(sd_bus_message* reply, void* userdata, sd_bus_error* error);
    static int ignoreInstallFailure(sd_bus_message* reply, void* userdata, sd_bus_error* error);

    sd_bus* m_bus;
    std::function<void(const std::string&)> m_changed;
    std::string m_owner;
    BusSlotPtr m_ownerMatch;
    BusSlotPtr m_ownerQuestion;
};

}  // namespace qn::platform::linux_host::login
