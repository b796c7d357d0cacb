#include "tk/libDriver/MacMemoryMapper.h"

#include "tk/libDriver/MemoryMapRecord.h"

namespace qn::tk::driver {

std::unique_ptr<MemoryMapper> MemoryMapperFactory::create(
    std::unique_ptr<DriverControl> driverControl) {
    return std::make_unique<MacMemoryMapper>(std::move(driverControl));
}

bool MacMemoryMapper::prepare(std::uint64_t address, std::uint32_t size) {
    if (!m_driverControl->isOpen()) {
        return false;
    }
    MemoryMapRecord record;
    record.size = size;
    record.sourceAddress = address;
    return m_driverControl->callMethod(
        kMemoryMapRegisterSourceAddressMethod, &record, sizeof(record), nullptr, 0,
        "kMemoryMapRegisterSourceAddressMethod", "MacMemoryMapper::prepare");
}

std::uint64_t MacMemoryMapper::map(std::uint64_t address) {
    if (!m_driverControl->isOpen()) {
        return 0;
    }
    MemoryMapRecord record;
    record.sourceAddress = address;
    MemoryMapRecord result;
    if (!m_driverControl->callMethod(kMemoryMapMapSourceAddressMethod, &record, sizeof(record),
                                     &result, sizeof(result), "kMemoryMapMapSourceAddressMethod",
                                     "MacMemoryMapper::map")) {
        return 0;
    }
    return result.mappedAddress;
}

bool MacMemoryMapper::release(std::uint64_t address) {
    if (!m_driverControl->isOpen()) {
        return false;
    }
    MemoryMapRecord record;
    record.sourceAddress = address;
    return m_driverControl->callMethod(
        kMemoryMapReleaseSourceAddressMethod, &record, sizeof(record), nullptr, 0,
        "kMemoryMapReleaseSourceAddressMethod", "MacMemoryMapper::release");
}

bool MacMemoryMapper::releaseAll() {
    if (!m_driverControl->isOpen()) {
        return false;
    }
    return m_driverControl->callMethod(kMemoryMapReleaseAllSourceAddressMethod, nullptr, 0, nullptr,
                                       0, "kMemoryMapReleaseAllSourceAddressMethod",
                                       "MacMemoryMapper::releaseAll");
}

}  // namespace qn::tk::driver
