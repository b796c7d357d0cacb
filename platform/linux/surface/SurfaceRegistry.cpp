#include "platform/linux/surface/SurfaceRegistry.h"

#include "platform/linux/surface/MemfdSurface.h"

namespace qn::platform::linux_host {

namespace {
std::uint64_t addressOf(const MemfdSurface* surface) {
    return reinterpret_cast<std::uintptr_t>(surface->baseAddress());
}
}  // namespace

MemfdSurface* SurfaceRegistry::retainByAddress(std::uint64_t base) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_byAddress.find(base);
    if (found == m_byAddress.end()) {
        return nullptr;
    }
    // A surface whose last reference is being dropped is still listed until its
    // destructor runs; it must not come back to life.
    MemfdSurface* surface = found->second;
    if (surface->retainCount() <= 0) {
        return nullptr;
    }
    surface->retain();
    return surface;
}

std::size_t SurfaceRegistry::size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_byAddress.size();
}

void SurfaceRegistry::add(MemfdSurface* surface) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_byAddress[addressOf(surface)] = surface;
}

void SurfaceRegistry::remove(MemfdSurface* surface) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_byAddress.find(addressOf(surface));
    if (found != m_byAddress.end() && found->second == surface) {
        m_byAddress.erase(found);
    }
}

}  // namespace qn::platform::linux_host
