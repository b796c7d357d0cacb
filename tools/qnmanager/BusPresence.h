#pragma once
// The stand-in's place on the bus: its connection on the event loop and, unless it is
// an impostor, the Manager's name. It can leave and come back, as a restarted Manager
// does (with a new unique name).

#include <functional>
#include <string>

#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/event/EventLoop.h"

namespace qn::tools::qnmanager {

class BusPresence {
  public:
    BusPresence(platform::linux_host::EventLoop& loop, std::string address)
        : m_loop(loop), m_address(std::move(address)) {}
    ~BusPresence() { leave(); }

    // Connects; 0 or a negative errno.
    int connect();
    // Takes the Manager's name; 0, or -EEXIST when another process has it.
    int ownName();
    // Closes the connection: the bus gives the name up at once.
    void leave();

    sd_bus* bus() const { return m_bus.get(); }
    std::string uniqueName() const;

  private:
    platform::linux_host::EventLoop& m_loop;
    std::string m_address;
    platform::linux_host::BusPtr m_bus;
};

}  // namespace qn::tools::qnmanager
