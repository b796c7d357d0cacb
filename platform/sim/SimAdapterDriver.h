#pragma once
// The adapter's kernel driver as far as frames go: it keeps the memory regions an agent
// registers (selector 7), forgets one (9) or all (10), and maps a registered one (8). The
// Manager reaches a frame only through a region registered here.

#include <cstdint>
#include <map>

#include "platform/sim/SimIOKit.h"

namespace qn::platform::sim {

class SimAdapterDriver {
  public:
    SimAdapterDriver(SimIOKit& ioKit, io_service_t service, std::uint32_t index);
    SimAdapterDriver(const SimAdapterDriver&) = delete;
    SimAdapterDriver& operator=(const SimAdapterDriver&) = delete;

    io_service_t service() const { return m_service; }
    std::uint32_t index() const { return m_index; }
    // Registered regions: source address to size.
    const std::map<std::uint64_t, std::uint32_t>& regions() const { return m_regions; }
    // The bytes from the address on, when a registered region holds all `size` of them.
    const std::uint8_t* reach(std::uint64_t address, std::size_t size) const;
    // Releases of addresses that were not registered.
    int unknownReleases() const { return m_unknownReleases; }

  private:
    kern_return_t handle(const SimUserClientCall& call, void* output, std::size_t* outputSize);

    io_service_t m_service;
    std::uint32_t m_index;
    std::map<std::uint64_t, std::uint32_t> m_regions;
    int m_unknownReleases = 0;
};

}  // namespace qn::platform::sim
