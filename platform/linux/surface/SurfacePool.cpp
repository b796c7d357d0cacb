#include "platform/linux/surface/SurfacePool.h"

namespace qn::platform::linux_host {

SurfacePool::SurfacePool(SurfaceRegistry& registry, std::size_t capacity)
    : m_registry(registry), m_capacity(capacity == 0 ? 1 : capacity) {}

SurfacePool::~SurfacePool() {
    clear();
}

void SurfacePool::clear() {
    for (auto* surface : m_surfaces) {
        surface->release();
    }
    m_surfaces.clear();
    m_next = 0;
}

bool SurfacePool::resize(std::size_t width, std::size_t height) {
    if (width == m_width && height == m_height) {
        return false;
    }
    clear();
    m_width = width;
    m_height = height;
    return true;
}

int SurfacePool::acquire() {
    for (std::size_t i = 0; i < m_surfaces.size(); ++i) {
        const std::size_t slot = (m_next + i) % m_surfaces.size();
        if (m_surfaces[slot]->useCount() == 0) {
            m_next = slot + 1;
            return static_cast<int>(slot);
        }
    }
    if (m_surfaces.size() < m_capacity) {
        m_surfaces.push_back(MemfdSurface::create(m_registry, m_width, m_height));
        m_next = 0;
        return static_cast<int>(m_surfaces.size() - 1);
    }
    return -1;
}

}  // namespace qn::platform::linux_host
