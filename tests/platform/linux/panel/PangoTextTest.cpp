#include <gtest/gtest.h>

#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"
#include "platform/linux/panel/PangoText.h"
#include "platform/linux/panel/ScreenPlacement.h"
#include "platform/linux/panel/X11PanelAppKit.h"
#include "platform/sim/SimHost.h"

namespace qn::platform::panel {
namespace {

TEST(ScreenPlacement, TheTopRightPanelLandsThirtyPixelsBelowTheMainDisplaysTop) {
    const XRectangleInt main{0, 0, 1280, 800};
    // x = W - 410, y = H - 105 - 30 in the host's coordinates.
    EXPECT_EQ(xRectangleForFrame(CGRectMake(870, 665, 400, 105), main),
              (XRectangleInt{870, 30, 400, 105}));
    // A main display that is not at the root's origin carries the panel with it.
    const XRectangleInt right{1920, 100, 1280, 800};
    EXPECT_EQ(xRectangleForFrame(CGRectMake(870, 665, 400, 105), right),
              (XRectangleInt{2790, 130, 400, 105}));
    // Off screen without a main screen: left of and below the display.
    EXPECT_EQ(xRectangleForFrame(CGRectMake(-410, -135, 400, 105), main),
              (XRectangleInt{-410, 830, 400, 105}));
    // Fractional sizes round up; the way back gives the frame of the pixels.
    EXPECT_EQ(xRectangleForFrame(CGRectMake(0, 0, 400, 150.4), main).height, 151u);
    EXPECT_EQ(frameForXRectangle({820, 70, 400, 105}, main), CGRectMake(820, 625, 400, 105));
}

TEST(PangoText, LinesWrapAtTheContainerWidthAndStackWithoutGaps) {
    const auto context = measuringContext();
    TextLayoutSpec spec;
    spec.font = NSFont{13.0, false};
    spec.width = 365.0;
    const auto one = measure(context.get(), NSAttributedString("One short line."), spec);
    ASSERT_GT(one.height, 10.0);
    EXPECT_LT(one.height, 20.0);
    EXPECT_LT(one.width, 365.0);
    std::string ten = "1";
    for (int i = 2; i <= 10; ++i) {
        ten += "\n" + std::to_string(i);
    }
    // Whole pixels, rounded up once for the block of lines, not once per line.
    const double tenHigh = measure(context.get(), NSAttributedString(ten), spec).height;
    EXPECT_LE(tenHigh, 10 * one.height);
    EXPECT_GT(tenHigh, 10 * (one.height - 1));
    // 60 wide letters do not fit in 365 points: the word breaks onto a second line.
    const auto wrapped = measure(context.get(), NSAttributedString(std::string(60, 'w')), spec);
    EXPECT_LE(wrapped.height, 2 * one.height);
    EXPECT_GT(wrapped.height, 2 * (one.height - 1));
    EXPECT_LE(wrapped.width, 365.0);
    EXPECT_GT(wrapped.width, 300.0);
    EXPECT_EQ(measure(context.get(), NSAttributedString(""), spec).height, 0.0);
    // Bold is wider than regular.
    TextLayoutSpec bold = spec;
    bold.font.bold = true;
    bold.width = -1;
    spec.width = -1;
    EXPECT_GT(measure(context.get(), NSAttributedString("Monitor mode"), bold).width,
              measure(context.get(), NSAttributedString("Monitor mode"), spec).width);
}

TEST(X11PanelWithoutServer, NoScreenAndNoWindowButTheMessageStillRunsItsCourse) {
    sim::SimHost host;
    // A display nobody serves: the connection fails at once.
    X11PanelAppKit panel(host.appKit().workspaceNotificationCenter(), "resources", ":4711");
    EXPECT_FALSE(panel.connected());
    EXPECT_EQ(panel.connectionNumber(), -1);
    EXPECT_FALSE(panel.mainScreen().has_value());
    auto backend = host.backend();
    backend.appKit = &panel;
    ScopedBackend installed(backend);
    auto controller = app::osx::qnuapp::QNUAMessageWindowController::create();
    std::weak_ptr<app::osx::qnuapp::QNUAMessageWindowController> alive = controller;
    controller->showWindow_forTimeInterval(NSAttributedString("hello"), 15);
    EXPECT_EQ(controller->window(), nullptr);
    controller.reset();
    EXPECT_FALSE(alive.expired());
    host.runLoop().advanceSeconds(15.0);
    EXPECT_TRUE(alive.expired());
    // Workspace notifications are the session's, on the centre it was given.
    EXPECT_EQ(&panel.workspaceNotificationCenter(), &host.appKit().workspaceNotificationCenter());
}

}  // namespace
}  // namespace qn::platform::panel
