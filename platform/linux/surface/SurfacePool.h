#pragma once
// The frame surfaces of one display stream: a few memfd surfaces of one size, made as
// needed. The pool holds one reference to each; whoever the frame went to holds its own
// and the use count. The writer only ever gets a surface whose use count is 0.

#include <cstddef>
#include <vector>

#include "platform/linux/surface/MemfdSurface.h"

namespace qn::platform::linux_host {

class SurfaceRegistry;

class SurfacePool {
  public:
    SurfacePool(SurfaceRegistry& registry, std::size_t capacity);
    SurfacePool(const SurfacePool&) = delete;
    SurfacePool& operator=(const SurfacePool&) = delete;
    ~SurfacePool();

    // Sets the frame size. Another size drops the pool's surfaces; frames still held
    // elsewhere stay valid until their holders release them. True when it changed.
    bool resize(std::size_t width, std::size_t height);

    // The slot of a surface nobody uses, making one while fewer than `capacity` exist;
    // -1 when every surface is held. Slots stay stable until the next resize.
    int acquire();
    MemfdSurface* at(int slot) const { return m_surfaces.at(static_cast<std::size_t>(slot)); }
    std::size_t count() const { return m_surfaces.size(); }
    std::size_t capacity() const { return m_capacity; }
    std::size_t width() const { return m_width; }
    std::size_t height() const { return m_height; }

  private:
    void clear();

    SurfaceRegistry& m_registry;
    const std::size_t m_capacity;
    std::size_t m_width = 0;
    std::size_t m_height = 0;
    std::vector<MemfdSurface*> m_surfaces;
    // Round robin among free surfaces, so the oldest frame is overwritten first.
    std::size_t m_next = 0;
};

}  // namespace qn::platform::linux_host
