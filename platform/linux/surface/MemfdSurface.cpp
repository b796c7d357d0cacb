#include "platform/linux/surface/MemfdSurface.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/linux/surface/SurfaceRegistry.h"

namespace qn::platform::linux_host {

namespace {

constexpr std::size_t kBytesPerPixel = 4;

std::uint64_t nextSerial() {
    static std::atomic<std::uint64_t> serial{0};
    return ++serial;
}

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

MemfdSurface* MemfdSurface::create(SurfaceRegistry& registry, std::size_t width,
                                   std::size_t height) {
    const std::size_t size = width * height * kBytesPerPixel;
    if (size == 0) {
        throw std::system_error(EINVAL, std::generic_category(), "MemfdSurface: empty size");
    }
    OwnedFd fd(::memfd_create("qn-frame", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!fd) {
        fail("memfd_create");
    }
    if (::ftruncate(fd.get(), static_cast<off_t>(size)) != 0) {
        fail("ftruncate");
    }
    // Fixed size from here on: a peer's mapping can never lose its pages under it.
    if (::fcntl(fd.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        fail("F_ADD_SEALS");
    }
    void* base = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    if (base == MAP_FAILED) {
        fail("mmap");
    }
    return new MemfdSurface(registry, std::move(fd), static_cast<std::uint8_t*>(base), width,
                            height);
}

MemfdSurface::MemfdSurface(SurfaceRegistry& registry, OwnedFd fd, std::uint8_t* base,
                           std::size_t width, std::size_t height)
    : m_registry(registry),
      m_fd(std::move(fd)),
      m_base(base),
      m_width(width),
      m_height(height),
      m_bytesPerRow(width * kBytesPerPixel),
      m_size(width * height * kBytesPerPixel),
      m_serial(nextSerial()) {
    m_registry.add(this);
}

MemfdSurface::~MemfdSurface() {
    m_registry.remove(this);
    ::munmap(m_base, m_size);
}

void MemfdSurface::release() {
    if (m_retainCount.fetch_sub(1) == 1) {
        delete this;
    }
}

bool MemfdSurface::decrementUseCount() {
    std::int32_t count = m_useCount.load();
    while (count > 0) {
        if (m_useCount.compare_exchange_weak(count, count - 1)) {
            return true;
        }
    }
    return false;
}

int MemfdSurface::openReadOnly() const {
    const std::string path = "/proc/self/fd/" + std::to_string(m_fd.get());
    return ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

}  // namespace qn::platform::linux_host
