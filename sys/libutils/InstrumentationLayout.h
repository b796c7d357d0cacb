#pragma once

#include <cstddef>
#include <cstdint>

// The shared-memory layouts of the instrumentation, read by other processes:
// every integer in the host's byte order, every offset fixed.
namespace qn::sys::instrumentation::layout {

// Message codes of the instrumentation's exceptions.
constexpr std::uint32_t kNameTooLong = 35;
constexpr std::uint32_t kDirectoryFull = 36;
constexpr std::uint32_t kNoFreeSlot = 37;
constexpr std::uint32_t kAlreadyThere = 38;

// The directory: count, capacity, then the names.
constexpr std::size_t kDirectoryCountOffset = 0;
constexpr std::size_t kDirectoryCapacityOffset = 4;
constexpr std::size_t kDirectoryNamesOffset = 8;
constexpr std::uint32_t kDirectoryCapacity = 20;
constexpr std::size_t kDirectoryNameSize = 101;  // 100 characters and a NUL
constexpr std::size_t kDirectorySize =
    kDirectoryNamesOffset + kDirectoryCapacity * kDirectoryNameSize;  // 2028

// A process's variables: a header, then the slots.
constexpr std::uint32_t kFormatVersion = 2;
constexpr std::uint32_t kNoSlot = 0xFFFFFFFF;
constexpr std::size_t kHeaderSize = 24;
constexpr std::size_t kSlotSize = 112;
constexpr std::size_t kListCount = 3;

struct Header {
    std::uint32_t totalSize;
    std::uint32_t version;
    std::uint32_t firstFree;
    std::uint32_t heads[kListCount];
};
static_assert(sizeof(Header) == kHeaderSize);

// A slot is addressed by byte offsets: the value of a 64-bit variable overlays
// the last bytes of the name, so its name is shorter.
constexpr std::size_t kSlotNextOffset = 0;
constexpr std::size_t kSlotNameOffset = 4;
constexpr std::size_t kSlotNameCapacity = 104;
constexpr std::size_t kSlotValue64Offset = 104;
constexpr std::size_t kSlotValue32Offset = 108;
constexpr std::size_t kMaxName32 = 103;
constexpr std::size_t kMaxName64 = 99;

constexpr std::size_t regionSize(std::uint32_t slots) {
    return kHeaderSize + kSlotSize * slots;
}

// The three lists of variables, by kind.
enum class Kind : std::uint32_t { A = 0, B = 1, Wide = 2 };

}  // namespace qn::sys::instrumentation::layout
