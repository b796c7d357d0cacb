#include "tools/qnmanager/BusPresence.h"

#include "platform/linux/bus/ManagerWire.h"

namespace qn::tools::qnmanager {

int BusPresence::connect() {
    leave();
    int r = 0;
    if (m_address.empty()) {
        r = sd_bus_open_system(m_bus.receive());
    } else {
        r = sd_bus_new(m_bus.receive());
        if (r >= 0)
            r = sd_bus_set_address(m_bus.get(), m_address.c_str());
        if (r >= 0)
            r = sd_bus_set_bus_client(m_bus.get(), 1);
        if (r >= 0)
            r = sd_bus_start(m_bus.get());
    }
    if (r >= 0) {
        sd_bus_set_description(m_bus.get(), "qnmanager");
        r = sd_bus_attach_event(m_bus.get(), m_loop.get(), SD_EVENT_PRIORITY_NORMAL);
    }
    if (r < 0) {
        m_bus.reset();
    }
    return r;
}

int BusPresence::ownName() {
    // No queueing and no replacement: two Managers at once is a mistake to report.
    return sd_bus_request_name(m_bus.get(), platform::linux_host::kManagerLocator.name, 0);
}

void BusPresence::leave() {
    if (m_bus) {
        sd_bus_detach_event(m_bus.get());
        m_bus.reset();
    }
}

std::string BusPresence::uniqueName() const {
    const char* name = nullptr;
    if (m_bus && sd_bus_get_unique_name(m_bus.get(), &name) >= 0 && name != nullptr) {
        return name;
    }
    return {};
}

}  // namespace qn::tools::qnmanager
