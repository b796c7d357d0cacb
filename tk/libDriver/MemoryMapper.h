#pragma once
// Tells the kernel driver which memory of this process holds a frame, so that the
// driver can reach it for the Manager. Each operation is one driver call.

#include <cstdint>
#include <memory>

#include "tk/libDriver/DriverControl.h"

namespace qn::tk::driver {

class MemoryMapper {
  public:
    virtual ~MemoryMapper() = default;
    virtual bool prepare(std::uint64_t address, std::uint32_t size) = 0;
    // 0 when the call failed (or the driver mapped to 0: the two cannot be told apart).
    virtual std::uint64_t map(std::uint64_t address) = 0;
    virtual bool release(std::uint64_t address) = 0;
    virtual bool releaseAll() = 0;
};

class MemoryMapperFactory {
  public:
    virtual ~MemoryMapperFactory() = default;
    // Takes the connection over.
    virtual std::unique_ptr<MemoryMapper> create(std::unique_ptr<DriverControl> driverControl);
};

}  // namespace qn::tk::driver
