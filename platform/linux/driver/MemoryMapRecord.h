#pragma once
// The 20-byte record every memory selector carries: packed, little-endian, the same in
// every build. Encoded by hand so that neither padding nor byte order can change it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace qn::platform::linux_host {

struct MemoryMapRecord {
    std::uint32_t size = 0;
    std::uint64_t sourceAddress = 0;
    std::uint64_t mappedAddress = 0;

    static constexpr std::size_t kBytes = 20;

    std::array<std::uint8_t, kBytes> encode() const;
    // Empty unless exactly kBytes are given.
    static std::optional<MemoryMapRecord> decode(const void* bytes, std::size_t length);

    bool operator==(const MemoryMapRecord&) const = default;
};

// The driver's selectors on the user client.
enum DriverSelector : std::uint32_t {
    kMemoryMapRegisterSourceAddressMethod = 7,
    kMemoryMapMapSourceAddressMethod = 8,
    kMemoryMapReleaseSourceAddressMethod = 9,
    kMemoryMapReleaseAllSourceAddressMethod = 10,
};

}  // namespace qn::platform::linux_host
