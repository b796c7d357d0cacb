#pragma once
// The IOSurface port over memfd surfaces. Every surface handed to the logic on this host
// is a MemfdSurface.

#include "platform/IOSurface.h"
#include "platform/linux/surface/MemfdSurface.h"

namespace qn::platform::linux_host {

class LinuxIOSurface : public IOSurface {
  public:
    void* IOSurfaceGetBaseAddress(IOSurfaceRef buffer) override {
        return buffer ? surface(buffer)->baseAddress() : nullptr;
    }
    std::size_t IOSurfaceGetBytesPerRow(IOSurfaceRef buffer) override {
        return buffer ? surface(buffer)->bytesPerRow() : 0;
    }
    std::size_t IOSurfaceGetAllocSize(IOSurfaceRef buffer) override {
        return buffer ? surface(buffer)->allocSize() : 0;
    }
    void IOSurfaceIncrementUseCount(IOSurfaceRef buffer) override {
        surface(buffer)->incrementUseCount();
    }
    void IOSurfaceDecrementUseCount(IOSurfaceRef buffer) override {
        surface(buffer)->decrementUseCount();
    }
    std::int32_t IOSurfaceGetUseCount(IOSurfaceRef buffer) override {
        return surface(buffer)->useCount();
    }
    bool IOSurfaceIsInUse(IOSurfaceRef buffer) override { return surface(buffer)->useCount() > 0; }

  private:
    static MemfdSurface* surface(IOSurfaceRef buffer) { return static_cast<MemfdSurface*>(buffer); }
};

}  // namespace qn::platform::linux_host
