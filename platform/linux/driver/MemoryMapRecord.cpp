#include "platform/linux/driver/MemoryMapRecord.h"

namespace qn::platform::linux_host {

namespace {

template <typename T>
void put(std::uint8_t* at, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        at[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

template <typename T>
T get(const std::uint8_t* at) {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        value |= static_cast<T>(at[i]) << (8 * i);
    }
    return value;
}

}  // namespace

std::array<std::uint8_t, MemoryMapRecord::kBytes> MemoryMapRecord::encode() const {
    std::array<std::uint8_t, kBytes> bytes{};
    put(bytes.data(), size);
    put(bytes.data() + 4, sourceAddress);
    put(bytes.data() + 12, mappedAddress);
    return bytes;
}

std::optional<MemoryMapRecord> MemoryMapRecord::decode(const void* bytes, std::size_t length) {
    if (bytes == nullptr || length != kBytes) {
        return std::nullopt;
    }
    const auto* at = static_cast<const std::uint8_t*>(bytes);
    MemoryMapRecord record;
    record.size = get<std::uint32_t>(at);
    record.sourceAddress = get<std::uint64_t>(at + 4);
    record.mappedAddress = get<std::uint64_t>(at + 12);
    return record;
}

}  // namespace qn::platform::linux_host
