#pragma once
// Frame buffers shared between processes: memory, stride, size and use counts.
// Retain and release go through CFRetain / CFRelease.

#include <cstddef>
#include <cstdint>

#include "platform/CoreFoundation.h"

namespace qn::platform {

class IOSurfaceObject : public CFObject {};
using IOSurfaceRef = IOSurfaceObject*;

class IOSurface {
  public:
    virtual ~IOSurface() = default;

    // The surface's memory in this task.
    virtual void* IOSurfaceGetBaseAddress(IOSurfaceRef buffer) = 0;
    virtual std::size_t IOSurfaceGetBytesPerRow(IOSurfaceRef buffer) = 0;
    virtual std::size_t IOSurfaceGetAllocSize(IOSurfaceRef buffer) = 0;
    // While the use count is above 0 the host does not write into the surface.
    virtual void IOSurfaceIncrementUseCount(IOSurfaceRef buffer) = 0;
    virtual void IOSurfaceDecrementUseCount(IOSurfaceRef buffer) = 0;
    virtual std::int32_t IOSurfaceGetUseCount(IOSurfaceRef buffer) = 0;
    virtual bool IOSurfaceIsInUse(IOSurfaceRef buffer) = 0;
};

}  // namespace qn::platform
