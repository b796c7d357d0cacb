#include "sys/libutils/InstrumentationReader.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "sys/libutils/Exception.h"
#include "sys/libutils/SharedMemory.h"

namespace qn::sys::instrumentation {

using namespace layout;

namespace {

constexpr std::uint32_t kNotARegion = 39;
// Far beyond any real table; a bigger size can only be rubbish.
constexpr std::uint32_t kMaxSlots = 1u << 20;

std::uint32_t readU32(const std::uint8_t* at) {
    std::uint32_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return value;
}

std::string boundedName(const std::uint8_t* at, std::size_t capacity) {
    const char* text = reinterpret_cast<const char*>(at);
    return std::string(text, strnlen(text, capacity));
}

}  // namespace

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::A:
            return "A";
        case Kind::B:
            return "B";
        case Kind::Wide:
            return "64";
    }
    return "?";
}

InstrumentationReader::InstrumentationReader(std::string directoryName)
    : m_directoryName(std::move(directoryName)) {}

std::vector<std::string> InstrumentationReader::processes() const {
    SharedMemoryUser region(m_directoryName, kDirectorySize);
    const auto* base = static_cast<const std::uint8_t*>(region.address());
    std::uint32_t count = readU32(base + kDirectoryCountOffset);
    const std::uint32_t capacity = readU32(base + kDirectoryCapacityOffset);
    count = std::min({count, capacity, kDirectoryCapacity});
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < count; ++i) {
        names.push_back(
            boundedName(base + kDirectoryNamesOffset + i * kDirectoryNameSize, kDirectoryNameSize));
    }
    return names;
}

InstrumentationReader::Region InstrumentationReader::read(const std::string& processName) const {
    Region result;
    {
        SharedMemoryUser header(processName, kHeaderSize);
        const auto* base = static_cast<const std::uint8_t*>(header.address());
        result.totalSize = readU32(base);
        result.version = readU32(base + 4);
    }
    if (result.version != kFormatVersion || result.totalSize < kHeaderSize ||
        (result.totalSize - kHeaderSize) % kSlotSize != 0 ||
        (result.totalSize - kHeaderSize) / kSlotSize > kMaxSlots) {
        throw MessageException(kNotARegion);
    }
    result.slots = static_cast<std::uint32_t>((result.totalSize - kHeaderSize) / kSlotSize);

    SharedMemoryUser region(processName, result.totalSize);
    const auto* base = static_cast<const std::uint8_t*>(region.address());
    const std::uint8_t* slots = base + kHeaderSize;
    auto slot = [&](std::uint32_t index) { return slots + std::size_t(index) * kSlotSize; };
    // A list changed while we walk it may link anywhere: stop at a bad index
    // and after as many steps as there are slots.
    auto walk = [&](std::uint32_t head, auto&& visit) {
        std::uint32_t steps = 0;
        for (std::uint32_t i = head; i < result.slots && steps < result.slots; ++steps) {
            visit(i);
            i = readU32(slot(i) + kSlotNextOffset);
        }
    };
    walk(readU32(base + 8), [&](std::uint32_t) { ++result.freeSlots; });
    for (std::uint32_t list = 0; list < kListCount; ++list) {
        const Kind kind = static_cast<Kind>(list);
        walk(readU32(base + 12 + 4 * list), [&](std::uint32_t i) {
            Variable variable{kind, {}, 0};
            if (kind == Kind::Wide) {
                variable.name = boundedName(slot(i) + kSlotNameOffset, kMaxName64 + 1);
                std::memcpy(&variable.value, slot(i) + kSlotValue64Offset, sizeof(std::int64_t));
            } else {
                variable.name = boundedName(slot(i) + kSlotNameOffset, kMaxName32 + 1);
                std::int32_t value = 0;
                std::memcpy(&value, slot(i) + kSlotValue32Offset, sizeof value);
                variable.value = value;
            }
            result.variables.push_back(std::move(variable));
        });
    }
    return result;
}

}  // namespace qn::sys::instrumentation
