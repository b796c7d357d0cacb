#include <gtest/gtest.h>

#include "platform/linux/driver/MemoryMapRecord.h"

namespace qn::platform::linux_host {
namespace {

TEST(MemoryMapRecord, PackedLittleEndianTwentyBytes) {
    const MemoryMapRecord record{0x11223344u, 0x0102030405060708ull, 0xa1a2a3a4a5a6a7a8ull};
    const auto bytes = record.encode();
    const std::array<std::uint8_t, 20> expected{
        0x44, 0x33, 0x22, 0x11,                          // size
        0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,  // source address
        0xa8, 0xa7, 0xa6, 0xa5, 0xa4, 0xa3, 0xa2, 0xa1};
    EXPECT_EQ(bytes, expected);
    EXPECT_EQ(MemoryMapRecord::decode(bytes.data(), bytes.size()), record);
}

TEST(MemoryMapRecord, RefusesAnyOtherLength) {
    const auto bytes = MemoryMapRecord{}.encode();
    EXPECT_FALSE(MemoryMapRecord::decode(bytes.data(), 19));
    EXPECT_FALSE(MemoryMapRecord::decode(bytes.data(), 24));
    EXPECT_FALSE(MemoryMapRecord::decode(nullptr, 20));
}

}  // namespace
}  // namespace qn::platform::linux_host
