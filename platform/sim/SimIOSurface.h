#pragma once
// IOSurface on the simulated host: the surfaces are those of the display streams.

#include "platform/IOSurface.h"
#include "platform/sim/SimSurface.h"

namespace qn::platform::sim {

class SimIOSurface : public IOSurface {
  public:
    void* IOSurfaceGetBaseAddress(IOSurfaceRef buffer) override {
        auto* s = surface(buffer, "IOSurfaceGetBaseAddress");
        return s ? s->baseAddress() : nullptr;
    }
    std::size_t IOSurfaceGetBytesPerRow(IOSurfaceRef buffer) override {
        auto* s = surface(buffer, "IOSurfaceGetBytesPerRow");
        return s ? s->bytesPerRow() : 0;
    }
    std::size_t IOSurfaceGetAllocSize(IOSurfaceRef buffer) override {
        auto* s = surface(buffer, "IOSurfaceGetAllocSize");
        return s ? s->allocSize() : 0;
    }
    void IOSurfaceIncrementUseCount(IOSurfaceRef buffer) override {
        static_cast<SimSurface*>(buffer)->incrementUseCount();
    }
    void IOSurfaceDecrementUseCount(IOSurfaceRef buffer) override {
        static_cast<SimSurface*>(buffer)->decrementUseCount();
    }
    std::int32_t IOSurfaceGetUseCount(IOSurfaceRef buffer) override {
        return static_cast<SimSurface*>(buffer)->useCount();
    }
    bool IOSurfaceIsInUse(IOSurfaceRef buffer) override { return IOSurfaceGetUseCount(buffer) > 0; }

  private:
    static SimSurface* surface(IOSurfaceRef buffer, const char* operation) {
        auto* s = static_cast<SimSurface*>(buffer);
        return s && s->check(operation) ? s : nullptr;
    }
};

}  // namespace qn::platform::sim
