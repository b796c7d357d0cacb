#include "platform/sim/SimAppKit.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace qn::platform::sim {
namespace {

class SimAppKitTest : public ::testing::Test {
  protected:
    SimRunLoop loop;
    SimAppKit appKit{loop};
};

TEST_F(SimAppKitTest, TextWrapsAtTheContainerWidthAndAtNewLines) {
    const NSFont font{13.0, false};
    // 365 points hold 52 characters of 7 points.
    EXPECT_EQ(appKit.usedRectForTextContainer(std::string(52, 'x'), font, 365).size.height, 15.0);
    EXPECT_EQ(appKit.usedRectForTextContainer(std::string(53, 'x'), font, 365).size.height, 30.0);
    EXPECT_EQ(appKit.usedRectForTextContainer("a\nb\n\nc", font, 365).size.height, 60.0);
    EXPECT_EQ(appKit.usedRectForTextContainer("", font, 365).size.height, 0.0);
}

TEST_F(SimAppKitTest, WindowsKeepTheirStateAndButtonsRunTheirAction) {
    const auto window = appKit.initWithContentRect(CGRectMake(1510, 945, 400, 105), 0, 2, false);
    NSViewSpec button;
    button.kind = NSViewSpec::Kind::Button;
    button.action = [&] { appKit.orderOut(window); };
    appKit.addSubview(window, button);
    appKit.orderFront(window);
    EXPECT_TRUE(appKit.window(window)->visible);
    EXPECT_TRUE(appKit.click(window, 0));
    EXPECT_FALSE(appKit.window(window)->visible);
    EXPECT_FALSE(appKit.click(window, 1));
    appKit.close(window);
    EXPECT_TRUE(appKit.window(window)->closed);
}

TEST_F(SimAppKitTest, DrawingGoesIntoTheFocusedImageOnly) {
    const auto image = appKit.initWithSize(NSSize{400, 105});
    NSBezierPath path;
    path.moveToPoint({200, 0});
    EXPECT_THROW(appKit.fill(path, NSColor::blackColor()), std::logic_error);
    appKit.lockFocus(image);
    appKit.fill(path, NSColor::colorWithCalibratedWhite(0.9, 0.75));
    appKit.unlockFocus(image);
    EXPECT_EQ(appKit.image(image)->fills.size(), 1u);
    EXPECT_EQ(appKit.image(image)->fills[0].color.alpha, 0.75);
}

}  // namespace
}  // namespace qn::platform::sim
