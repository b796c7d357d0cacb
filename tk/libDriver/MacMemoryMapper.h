#pragma once
// The memory mapper over a driver connection. No operation throws or logs: a closed
// connection or a refused call is only the false (or 0) result.

#include "tk/libDriver/MemoryMapper.h"

namespace qn::tk::driver {

class MacMemoryMapper : public MemoryMapper {
  public:
    explicit MacMemoryMapper(std::unique_ptr<DriverControl> driverControl)
        : m_driverControl(std::move(driverControl)) {}

    bool prepare(std::uint64_t address, std::uint32_t size) override;
    std::uint64_t map(std::uint64_t address) override;
    bool release(std::uint64_t address) override;
    // Not called on destruction: the next start clears what an earlier life left.
    bool releaseAll() override;

  private:
    std::unique_ptr<DriverControl> m_driverControl;
};

}  // namespace qn::tk::driver
