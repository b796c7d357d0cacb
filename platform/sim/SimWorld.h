#pragma once
// Whole-world changes that touch several ports at once: a display comes with its
// registry entries (framebuffer, display connection, display, and for an adapter the
// driver instance it hangs under), and goes with them.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/sim/SimAdapterDriver.h"
#include "platform/sim/SimHost.h"

namespace qn::platform::sim {

struct SimDisplaySpec {
    SimDisplay display;
    // The adapter's framebuffer index; none for a display of the machine's own.
    std::optional<std::uint32_t> adapterIndex;
    // False: the system has no registry service for the display.
    bool withService = true;
};

class SimWorld {
  public:
    // Where the adapters' framebuffers hang in the IOService plane, up to the instance number.
    static constexpr const char* kDriverPath = "IOService:/IOResources/QuintorParent/QuintorParent";
    static constexpr const char* kDriverClass = "QuintorParent";

    explicit SimWorld(SimHost& host) : m_host(host) {}

    // A display present before anything runs: no callbacks.
    void placeDisplay(SimDisplaySpec spec);
    // A display plugged in now: the reconfiguration callbacks follow on the run loop.
    void plugDisplay(SimDisplaySpec spec);
    // Unplugged: gone from Quartz and from the registry, then the callbacks.
    void unplugDisplay(CGDirectDisplayID id);
    // The driver instance of an adapter ("QuintorParent" + index), made once per index.
    io_service_t adapterDriver(std::uint32_t index);
    // Its frame memory registrations; null for an index never made.
    SimAdapterDriver* driver(std::uint32_t index);

    SimHost& host() { return m_host; }

  private:
    void addRegistryEntries(SimDisplaySpec& spec);

    SimHost& m_host;
    std::map<std::uint32_t, io_service_t> m_drivers;
    std::map<std::uint32_t, std::unique_ptr<SimAdapterDriver>> m_driverMemory;
    std::map<CGDirectDisplayID, io_registry_entry_t> m_framebuffers;
};

}  // namespace qn::platform::sim
