#include "platform/linux/x11/RegionRects.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "platform/linux/x11/ServerKind.h"

namespace qn::platform::x11 {
namespace {

// Laid out as Xlib's XRectangle.
struct Rectangle {
    std::int16_t x, y;
    std::uint16_t width, height;
};

TEST(RegionRects, KeepsOrderAndSignedOriginsAndDropsEmptyRectangles) {
    const Rectangle rects[] = {{10, 20, 30, 40}, {0, 0, 0, 5}, {-5, 7, 1, 1}, {3, 3, 4, 0}};
    const auto out = regionRects(rects, 4);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], CGRectMake(10, 20, 30, 40));
    EXPECT_EQ(out[1], CGRectMake(-5, 7, 1, 1));
    EXPECT_TRUE(regionRects<Rectangle>(nullptr, 3).empty());
    EXPECT_TRUE(regionRects(rects, 0).empty());
}

TEST(ServerKind, XwaylandByExtensionOrOutputName) {
    EXPECT_TRUE(isXwayland(true, {"DUMMY0"}));
    EXPECT_TRUE(isXwayland(false, {"XWAYLAND0", "XWAYLAND1"}));
    EXPECT_FALSE(isXwayland(false, {"DUMMY0", "screen", "HDMI-1-XWAYLAND"}));
    EXPECT_FALSE(isXwayland(false, {}));
}

}  // namespace
}  // namespace qn::platform::x11
