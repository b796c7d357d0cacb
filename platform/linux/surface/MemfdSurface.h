#pragma once
// One frame buffer: a sealed memfd of 32-bit pixels mapped read-write into this process.
// Descriptor, mapping, stride and size are fixed for the surface's life; only the retain
// and use counts change. The last release unmaps, closes and leaves the registry.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/IOSurface.h"
#include "platform/linux/OwnedFd.h"

namespace qn::platform::linux_host {

class SurfaceRegistry;

class MemfdSurface final : public IOSurfaceObject {
  public:
    // A new surface with one reference, owned by the caller. Throws std::system_error when
    // the memory cannot be made.
    static MemfdSurface* create(SurfaceRegistry& registry, std::size_t width, std::size_t height);

    MemfdSurface(const MemfdSurface&) = delete;
    MemfdSurface& operator=(const MemfdSurface&) = delete;

    void retain() override { m_retainCount.fetch_add(1); }
    void release() override;
    long retainCount() const override { return m_retainCount.load(); }

    std::uint8_t* baseAddress() const { return m_base; }
    std::size_t bytesPerRow() const { return m_bytesPerRow; }
    std::size_t allocSize() const { return m_size; }
    std::size_t width() const { return m_width; }
    std::size_t height() const { return m_height; }
    // Tells surfaces apart even when a new one is mapped where an old one was.
    std::uint64_t serial() const { return m_serial; }
    int fd() const { return m_fd.get(); }

    std::int32_t useCount() const { return m_useCount.load(); }
    void incrementUseCount() { m_useCount.fetch_add(1); }
    // A decrement at 0 is refused: a negative count would let the writer in early.
    bool decrementUseCount();

    // A new read-only descriptor of the same memory, owned by the caller; a peer that
    // maps it can neither write nor shrink it. -1 on failure.
    int openReadOnly() const;

  private:
    MemfdSurface(SurfaceRegistry& registry, OwnedFd fd, std::uint8_t* base, std::size_t width,
                 std::size_t height);
    ~MemfdSurface() override;

    SurfaceRegistry& m_registry;
    const OwnedFd m_fd;
    std::uint8_t* const m_base;
    const std::size_t m_width;
    const std::size_t m_height;
    const std::size_t m_bytesPerRow;
    const std::size_t m_size;
    const std::uint64_t m_serial;
    std::atomic<long> m_retainCount{1};
    std::atomic<std::int32_t> m_useCount{0};
};

}  // namespace qn::platform::linux_host
