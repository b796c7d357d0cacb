#pragma once
// The record that goes with every memory-map call of the driver. Its layout is the
// driver's interface: packed, little-endian, 20 bytes in every build.

#include <cstdint>

namespace qn::tk::driver {

#pragma pack(push, 1)
struct MemoryMapRecord {
    std::uint32_t size = 0;
    std::uint64_t sourceAddress = 0;
    std::uint64_t mappedAddress = 0;
};
#pragma pack(pop)

static_assert(sizeof(MemoryMapRecord) == 20, "the driver reads exactly 20 bytes");

// The driver's selectors.
enum MemoryMapSelector : std::uint64_t {
    kMemoryMapRegisterSourceAddressMethod = 7,
    kMemoryMapMapSourceAddressMethod = 8,
    kMemoryMapReleaseSourceAddressMethod = 9,
    kMemoryMapReleaseAllSourceAddressMethod = 10,
    // Not a method: the connection's own memory, mapped into this task.
    kMemoryMapSelector = 11,
};

}  // namespace qn::tk::driver
