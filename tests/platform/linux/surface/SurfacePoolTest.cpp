#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#include <gtest/gtest.h>

#include "platform/linux/surface/LinuxIOSurface.h"
#include "platform/linux/surface/SurfacePool.h"
#include "platform/linux/surface/SurfaceRegistry.h"

namespace qn::platform::linux_host {
namespace {

std::uint64_t address(const MemfdSurface* s) {
    return reinterpret_cast<std::uintptr_t>(s->baseAddress());
}

TEST(SurfacePool, HandsOutOnlySurfacesNobodyUses) {
    SurfaceRegistry registry;
    SurfacePool pool(registry, 2);
    pool.resize(4, 3);
    const int first = pool.acquire();
    ASSERT_GE(first, 0);
    LinuxIOSurface io;
    io.IOSurfaceIncrementUseCount(pool.at(first));
    EXPECT_TRUE(io.IOSurfaceIsInUse(pool.at(first)));

    const int second = pool.acquire();
    ASSERT_GE(second, 0);
    EXPECT_NE(second, first);
    io.IOSurfaceIncrementUseCount(pool.at(second));
    // Both held and the pool full: nothing to write into.
    EXPECT_EQ(pool.acquire(), -1);
    EXPECT_EQ(pool.count(), 2u);

    io.IOSurfaceDecrementUseCount(pool.at(first));
    EXPECT_EQ(pool.acquire(), first);
    EXPECT_EQ(io.IOSurfaceGetBytesPerRow(pool.at(first)), 16u);
    EXPECT_EQ(io.IOSurfaceGetAllocSize(pool.at(first)), 48u);
}

TEST(SurfacePool, UseCountNeverGoesBelowZero) {
    SurfaceRegistry registry;
    SurfacePool pool(registry, 1);
    pool.resize(2, 2);
    MemfdSurface* s = pool.at(pool.acquire());
    EXPECT_FALSE(s->decrementUseCount());
    EXPECT_EQ(s->useCount(), 0);
    s->incrementUseCount();
    EXPECT_TRUE(s->decrementUseCount());
}

TEST(SurfacePool, ResizeDropsThePoolButNotFramesStillHeld) {
    SurfaceRegistry registry;
    SurfacePool pool(registry, 2);
    pool.resize(8, 8);
    MemfdSurface* held = pool.at(pool.acquire());
    held->retain();
    pool.acquire();
    EXPECT_EQ(registry.size(), 1u);

    EXPECT_FALSE(pool.resize(8, 8));
    EXPECT_TRUE(pool.resize(16, 8));
    EXPECT_EQ(pool.count(), 0u);
    // The held frame lives on and can still be found by its address.
    EXPECT_EQ(held->retainCount(), 1);
    MemfdSurface* found = registry.retainByAddress(address(held));
    ASSERT_EQ(found, held);
    found->release();

    const std::uint64_t oldAddress = address(held);
    held->release();
    EXPECT_EQ(registry.size(), 0u);
    EXPECT_EQ(registry.retainByAddress(oldAddress), nullptr);

    MemfdSurface* fresh = pool.at(pool.acquire());
    EXPECT_EQ(fresh->width(), 16u);
    EXPECT_NE(fresh->serial(), 0u);
}

TEST(MemfdSurface, PeerDescriptorReadsButCannotWriteOrShrink) {
    SurfaceRegistry registry;
    MemfdSurface* s = MemfdSurface::create(registry, 4, 4);
    s->baseAddress()[5] = 0x5a;
    const int fd = s->openReadOnly();
    ASSERT_GE(fd, 0);
    EXPECT_EQ(::mmap(nullptr, s->allocSize(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0),
              MAP_FAILED);
    void* view = ::mmap(nullptr, s->allocSize(), PROT_READ, MAP_SHARED, fd, 0);
    ASSERT_NE(view, MAP_FAILED);
    EXPECT_EQ(static_cast<const std::uint8_t*>(view)[5], 0x5a);
    // Not even the owner's writable descriptor may shrink it now.
    EXPECT_NE(::ftruncate(s->fd(), 4), 0);
    ::munmap(view, s->allocSize());
    ::close(fd);
    s->release();
}

}  // namespace
}  // namespace qn::platform::linux_host
