#pragma once
// Every live surface of this process by its base address, so that the driver endpoint
// can find the memfd behind an address the logic hands it. Surfaces add and remove
// themselves; the registry must outlive them.

#include <cstdint>
#include <map>
#include <mutex>

namespace qn::platform::linux_host {

class MemfdSurface;

class SurfaceRegistry {
  public:
    SurfaceRegistry() = default;
    SurfaceRegistry(const SurfaceRegistry&) = delete;
    SurfaceRegistry& operator=(const SurfaceRegistry&) = delete;

    // The surface whose memory starts at `base`, with one more reference for the caller;
    // null when none does.
    MemfdSurface* retainByAddress(std::uint64_t base) const;
    std::size_t size() const;

  private:
    friend class MemfdSurface;
    void add(MemfdSurface* surface);
    void remove(MemfdSurface* surface);

    mutable std::mutex m_mutex;
    std::map<std::uint64_t, MemfdSurface*> m_byAddress;
};

}  // namespace qn::platform::linux_host
