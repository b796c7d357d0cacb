#pragma once
// Whole-world changes that touch several ports at once: a display comes with its
// registry entries (framebuffer, display connection, display, and for an adapter the
// driver instance it hangs under), and goes with them.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
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
    // Registry oddities of an adapter display. The text behind the driver path in place
    // of the index.
    std::optional<std::string> instanceText;
    // Hubs between the adapter's instance and its framebuffer, one path component each;
    // some 30 of them make the paths longer than the registry's 512-byte buffer.
    std::uint32_t hubs = 0;
    // The display's vendor property as this value instead of its vendor number.
    std::optional<Value> vendorProperty;
};

class SimWorld {
  public:
    // Where the adapters' framebuffers hang in the IOService plane, up to the instance number.
    static constexpr const char* kDriverPath = "IOService:/IOResources/QuintorParent/QuintorParent";
    static constexpr const char* kDriverClass = "QuintorParent";

    explicit SimWorld(SimHost& host) : m_host(host) {}

    // A display present before anything runs, or one that appears or changes unannounced:
    // no callbacks. A display placed again gets new registry entries.
    void placeDisplay(SimDisplaySpec spec);
    // Gone from Quartz and the registry without any callback.
    void vanishDisplay(CGDirectDisplayID id);
    // A display plugged in now: the reconfiguration callbacks follow on the run loop.
    void plugDisplay(SimDisplaySpec spec);
    // Unplugged: gone from Quartz and from the registry, then the callbacks.
    void unplugDisplay(CGDirectDisplayID id);
    // The driver instance of an adapter ("QuintorParent" + index), made once per index.
    io_service_t adapterDriver(std::uint32_t index);
    // Its frame memory registrations; null for an index never made.
    SimAdapterDriver* driver(std::uint32_t index);

    SimHost& host() { return m_host; }
    // The display's framebuffer (its service) and the display entry below its display
    // connection; 0 when it has none.
    io_registry_entry_t framebuffer(CGDirectDisplayID id) const;
    io_registry_entry_t displayEntry(CGDirectDisplayID id) const;

  private:
    void addRegistryEntries(SimDisplaySpec& spec);
    void removeRegistryEntries(CGDirectDisplayID id);

    SimHost& m_host;
    std::map<std::uint32_t, io_service_t> m_drivers;
    std::map<std::uint32_t, std::unique_ptr<SimAdapterDriver>> m_driverMemory;
    std::map<CGDirectDisplayID, io_registry_entry_t> m_framebuffers;
    std::map<CGDirectDisplayID, io_registry_entry_t> m_displayEntries;
};

}  // namespace qn::platform::sim
