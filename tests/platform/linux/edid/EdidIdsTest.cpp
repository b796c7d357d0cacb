#include "platform/linux/edid/EdidIds.h"

#include <gtest/gtest.h>

#include "tests/support/FakeDrmTree.h"

namespace qn::platform::edid {
namespace {

TEST(EdidIds, ReadsVendorBigEndianAndProductLittleEndian) {
    auto block = test::makeEdid(0x4c2d, 0x0e5a);
    const auto ids = parseEdidIds(block.data(), block.size());
    ASSERT_TRUE(ids);
    EXPECT_EQ(ids->vendor, 0x4c2d);
    EXPECT_EQ(ids->product, 0x0e5a);
    EXPECT_EQ(block[8], 0x4c);   // the vendor's high byte comes first
    EXPECT_EQ(block[10], 0x5a);  // the product's low byte comes first
}

TEST(EdidIds, RefusesWhatIsNoBaseBlock) {
    auto block = test::makeEdid(1, 2);
    EXPECT_FALSE(parseEdidIds(block.data(), 127));
    EXPECT_FALSE(parseEdidIds(nullptr, 0));
    block[0] = 0xff;
    EXPECT_FALSE(parseEdidIds(block.data(), block.size()));
}

}  // namespace
}  // namespace qn::platform::edid
