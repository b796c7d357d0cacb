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

    // Takes the lock unless it is held, waiting for logind's answer; false when logind
    // refuses or cannot be asked.
    bool take();
    // Asks for the lock without waiting: it is held once the answer has been processed on
    // the bus. For a start, where nothing is about to be reported yet.
    void takeSoon();
    // Closing the descriptor is what releases the lock; a request on its way is dropped.
    void release();
    bool held() const { return static_cast<bool>(m_lock); }

  private:
    static int onGranted(sd_bus_message* reply, void* userdata, sd_bus_error* error);
    bool keep(sd_bus_message* reply);

    sd_bus* m_bus;
    OwnedFd m_lock;
    // Dropping it cancels the reply callback, so none can reach a destroyed inhibitor.
    BusSlotPtr m_request;
};

}  // namespace qn::platform::linux_host::login
