#pragma once
// A logind delay lock on sleep: while it is held, logind waits (up to its
// InhibitDelayMaxSec) after announcing sleep, so the agent can tell the Manager first.

#include <systemd/sd-bus.h>

#include "platform/linux/OwnedFd.h"
#include "platform/linux/bus/BusHandles.h"

namespace qn::platform::linux_host::login {

class SleepInhibitor {
  public:
    // The bus stays the caller's and must outlive this object.
    explicit SleepInhibitor(sd_bus* bus) : m_bus(bus) {}

    // Takes the lock unless it is held; false when logind refuses or cannot be asked.
    bool take();
    // Closing the descriptor is what releases the lock.
    void release() { m_lock.reset(); }
    bool held() const { return static_cast<bool>(m_lock); }

  private:
    sd_bus* m_bus;
    OwnedFd m_lock;
};

}  // namespace qn::platform::linux_host::login
