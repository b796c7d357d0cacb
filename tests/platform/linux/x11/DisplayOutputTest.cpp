#include "platform/linux/x11/DisplayOutput.h"

#include <gtest/gtest.h>

namespace qn::platform::x11 {
namespace {

TEST(ModeRefreshRate, FromTimingsWithScanFlags) {
    // 1920x1080 at 60 Hz (CEA timing).
    EXPECT_DOUBLE_EQ(modeRefreshRate(148500000, 2200, 1125, false, false), 60.0);
    EXPECT_DOUBLE_EQ(modeRefreshRate(148500000, 2200, 1125, true, false), 30.0);
    EXPECT_DOUBLE_EQ(modeRefreshRate(74250000, 2200, 1125, false, true), 60.0);
    // A virtual server's mode has no timings: 0, as the server says.
    EXPECT_EQ(modeRefreshRate(0, 0, 0, false, false), 0.0);
    EXPECT_EQ(modeRefreshRate(148500000, 2200, 0, false, false), 0.0);
}

DisplayOutput at(std::uint32_t id, std::int32_t x, std::int32_t y) {
    DisplayOutput o;
    o.id = id;
    o.crtc = id;
    o.x = x;
    o.y = y;
    o.width = 800;
    o.height = 600;
    return o;
}

TEST(PickMainDisplay, PrimaryThenOriginThenFirst) {
    const DisplayOutputs outputs{at(1, 800, 0), at(2, 0, 0), at(3, 1600, 0)};
    EXPECT_EQ(pickMainDisplay(outputs, 3), 3u);
    // A primary output that is not online does not count.
    EXPECT_EQ(pickMainDisplay(outputs, 9), 2u);
    EXPECT_EQ(pickMainDisplay(outputs, 0), 2u);
    // A CRTC that starts left of the origin still holds it.
    EXPECT_EQ(pickMainDisplay({at(1, 800, 0), at(2, -100, -100)}, 0), 2u);
    EXPECT_EQ(pickMainDisplay({at(1, 800, 0), at(2, 1600, 0)}, 0), 1u);
    EXPECT_EQ(pickMainDisplay({}, 0), 0u);
}

}  // namespace
}  // namespace qn::platform::x11
