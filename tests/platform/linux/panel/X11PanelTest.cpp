#include "platform/linux/panel/X11PanelAppKit.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <optional>

#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"
#include "platform/sim/SimHost.h"
#include "tests/platform/linux/panel/PanelTestSupport.h"
#include "tests/support/XServer.h"
#include "tools/qnpanel/PanelSamples.h"
// Last: Xlib's macros (None, Bool, Status) would break the headers above.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

namespace qn::platform::panel {
namespace {

using app::osx::qnuapp::QNUAMessageWindowController;
using testing::pixelAt;

// The panel on a real X server of its own; timers and the rest of the host are simulated.
class X11Panel : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        server = qn::test::XServer::start(qn::test::XServer::Kind::Xvfb, &error, {}, "1280x800x24");
        ASSERT_TRUE(server) << error;
        probe.reset(XOpenDisplay(server->display().c_str()));
        ASSERT_TRUE(probe) << "no connection to " << server->display();
        panel = std::make_unique<X11PanelAppKit>(host.appKit().workspaceNotificationCenter(),
                                                 testing::sourceDir() + "/resources",
                                                 server->display().c_str());
        ASSERT_TRUE(panel->connected());
        auto b = host.backend();
        b.appKit = panel.get();
        backend.emplace(b);
    }
    void TearDown() override {
        backend.reset();
        panel.reset();
    }

    NSWindowRef show(const tools::qnpanel::PanelSample& sample) {
        auto controller = QNUAMessageWindowController::create();
        controller->showWindow_forTimeInterval_withTitle(sample.text, 15, sample.title);
        panel->synchronize();
        return controller->window()->windowRef();
    }
    // Lets the panel handle every event the server has sent it so far.
    void drain() {
        panel->synchronize();
        panel->processPendingEvents();
    }
    // Lets the panel handle its events until `done`; a bounded number of quiet turns.
    bool pumpUntil(const std::function<bool()>& done) {
        for (int turn = 0; turn < 100 && !done(); ++turn) {
            pollfd fd{panel->connectionNumber(), POLLIN, 0};
            poll(&fd, 1, 100);
            panel->processPendingEvents();
        }
        return done();
    }
    XWindowAttributes attributesOf(Window xid) {
        XWindowAttributes a{};
        XGetWindowAttributes(probe.get(), xid, &a);
        return a;
    }
    bool exists(Window xid) {
        Window root = 0, parent = 0, *children = nullptr;
        unsigned count = 0;
        XQueryTree(probe.get(), DefaultRootWindow(probe.get()), &root, &parent, &children, &count);
        const bool found = std::find(children, children + count, xid) != children + count;
        XFree(children);
        return found;
    }
    void click(int x, int y) {
        XTestFakeMotionEvent(probe.get(), -1, x, y, 0);
        XTestFakeButtonEvent(probe.get(), 1, True, 0);
        XTestFakeButtonEvent(probe.get(), 1, False, 0);
        XSync(probe.get(), False);
    }
    std::string writePng(const WindowPicture& picture) {
        const auto path =
            std::string(::testing::TempDir()) + "/panel-" + std::to_string(getpid()) + ".png";
        EXPECT_TRUE(PanelRenderer(testing::sourceDir() + "/resources")
                        .writePng(picture, X11PanelAppKit::kSystemFontSize, path));
        return path;
    }

    std::unique_ptr<qn::test::XServer> server;
    sim::SimHost host;
    DisplayOwner probe;
    std::unique_ptr<X11PanelAppKit> panel;
    std::optional<ScopedBackend> backend;
};

// The agent's panel opens its connection only when a message first asks for the main
// screen, and hands the descriptor over once, for the owner to watch.
TEST_F(X11Panel, AConnectionLeftForLaterOpensAtTheFirstQuestionAndIsHandedOverOnce) {
    ::setenv("DISPLAY", server->display().c_str(), 1);
    std::vector<int> handed;
    X11PanelAppKit later(host.appKit().workspaceNotificationCenter(),
                         testing::sourceDir() + "/resources",
                         X11PanelAppKit::OpenLater{[&](int fd) { handed.push_back(fd); }});
    EXPECT_FALSE(later.connected());
    EXPECT_EQ(later.connectionNumber(), -1);
    EXPECT_TRUE(handed.empty());
    const auto screen = later.mainScreen();
    ASSERT_TRUE(screen);
    EXPECT_EQ(screen->frame.size.width, 1280);
    EXPECT_EQ(screen->frame.size.height, 800);
    ASSERT_EQ(handed.size(), 1u);
    EXPECT_EQ(handed[0], later.connectionNumber());
    EXPECT_NE(later.initWithContentRect(CGRectMake(0, 0, 40, 40), 0, 0, false), 0u);
    EXPECT_EQ(handed.size(), 1u);
}

TEST_F(X11Panel, TheWindowHoldsExactlyThePictureTheRendererMakesFromTheHostsRecord) {
    for (const auto& sample : tools::qnpanel::panelSamples()) {
        const auto ref = show(sample);
        drain();
        const Window xid = panel->xWindow(ref);
        ASSERT_NE(xid, 0u);
        const auto a = attributesOf(xid);
        EXPECT_TRUE(a.override_redirect);
        EXPECT_EQ(a.depth, 32);
        EXPECT_EQ(a.map_state, IsViewable);
        // The top right corner of the 1280 x 800 screen: x = W - 410, 30 from the top.
        EXPECT_EQ(a.x, 870);
        EXPECT_EQ(a.y, 30);
        EXPECT_EQ(a.width, 400);
        // Pango measured the text: at least the smallest panel, taller for ten lines.
        EXPECT_GE(a.height, 105);
        EXPECT_EQ(a.height > 105, sample.name == "ten-lines") << sample.name;

        const auto path = writePng(panel->picture(ref));
        const CairoSurface png(cairo_image_surface_create_from_png(path.c_str()));
        std::remove(path.c_str());
        ASSERT_EQ(cairo_surface_status(png.get()), CAIRO_STATUS_SUCCESS);
        ASSERT_EQ(cairo_image_surface_get_width(png.get()), a.width);
        ASSERT_EQ(cairo_image_surface_get_height(png.get()), a.height);
        // The window's own 32 bits, not the screen's blend.
        XImage* image = XGetImage(probe.get(), xid, 0, 0, static_cast<unsigned>(a.width),
                                  static_cast<unsigned>(a.height), AllPlanes, ZPixmap);
        ASSERT_NE(image, nullptr);
        int differing = 0, transparent = 0;
        std::string first;
        for (int y = 0; y < a.height; ++y) {
            for (int x = 0; x < a.width; ++x) {
                const unsigned long v = XGetPixel(image, x, y);
                const testing::Pixel got{
                    static_cast<int>((v >> 24) & 0xff), static_cast<int>((v >> 16) & 0xff),
                    static_cast<int>((v >> 8) & 0xff), static_cast<int>(v & 0xff)};
                transparent += got.a == 0;
                if (!(got == pixelAt(png.get(), x, y)) && differing++ == 0) {
                    first = std::to_string(x) + "," + std::to_string(y);
                }
            }
        }
        XDestroyImage(image);
        EXPECT_EQ(differing, 0) << sample.name << ": first at " << first;
        // The round corners really are see-through in the window.
        EXPECT_GT(transparent, 4) << sample.name;
        panel->close(ref);
    }
}

TEST_F(X11Panel, AClickOnTheIconHidesItWithoutFocusOrGrabAndTheTimerClosesItLater) {
    Window focusBefore = 0;
    int revert = 0;
    XGetInputFocus(probe.get(), &focusBefore, &revert);

    const auto ref = show(tools::qnpanel::panelSamples()[0]);
    const Window xid = panel->xWindow(ref);
    drain();
    Window focus = 0;
    XGetInputFocus(probe.get(), &focus, &revert);
    EXPECT_EQ(focus, focusBefore);
    XWMHints* hints = XGetWMHints(probe.get(), xid);
    ASSERT_NE(hints, nullptr);
    EXPECT_TRUE(hints->flags & InputHint);
    EXPECT_FALSE(hints->input);
    XFree(hints);
    // Nobody else holds the pointer or the keyboard: another client can take both.
    const Window root = DefaultRootWindow(probe.get());
    EXPECT_EQ(XGrabKeyboard(probe.get(), root, False, GrabModeAsync, GrabModeAsync, CurrentTime),
              GrabSuccess);
    EXPECT_EQ(XGrabPointer(probe.get(), root, False, ButtonPressMask, GrabModeAsync, GrabModeAsync,
                           None, None, CurrentTime),
              GrabSuccess);
    XUngrabKeyboard(probe.get(), CurrentTime);
    XUngrabPointer(probe.get(), CurrentTime);
    XSync(probe.get(), False);

    // A click on the body changes nothing; one on the icon (x 5 to 25, the top 80) hides.
    click(870 + 200, 30 + 60);
    drain();
    EXPECT_TRUE(panel->isVisible(ref));
    click(870 + 15, 30 + 40);
    ASSERT_TRUE(pumpUntil([&] { return !panel->isVisible(ref); }));
    panel->synchronize();
    EXPECT_EQ(attributesOf(xid).map_state, IsUnmapped);
    XGetInputFocus(probe.get(), &focus, &revert);
    EXPECT_EQ(focus, focusBefore);
    EXPECT_TRUE(exists(xid));

    host.runLoop().advanceSeconds(15.0);
    panel->synchronize();
    EXPECT_TRUE(panel->isClosed(ref));
    EXPECT_FALSE(exists(xid));
}

TEST_F(X11Panel, TwoMessagesStandInOnePlaceTheNewestOnTopAndADragMovesOne) {
    const auto first = show(tools::qnpanel::panelSamples()[0]);
    const auto second = show(tools::qnpanel::panelSamples()[2]);
    const Window a = panel->xWindow(first), b = panel->xWindow(second);
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    XQueryTree(probe.get(), DefaultRootWindow(probe.get()), &root, &parent, &children, &count);
    const auto at = [&](Window w) { return std::find(children, children + count, w) - children; };
    EXPECT_LT(at(a), at(b));  // bottom to top
    XFree(children);
    EXPECT_EQ(attributesOf(a).x, attributesOf(b).x);
    EXPECT_EQ(attributesOf(a).y, attributesOf(b).y);

    // Dragging the newer one's body by (-50, +40) moves it and its frame.
    XTestFakeMotionEvent(probe.get(), -1, 870 + 200, 30 + 60, 0);
    XTestFakeButtonEvent(probe.get(), 1, True, 0);
    XTestFakeMotionEvent(probe.get(), -1, 870 + 150, 30 + 100, 0);
    XTestFakeButtonEvent(probe.get(), 1, False, 0);
    XSync(probe.get(), False);
    ASSERT_TRUE(pumpUntil([&] { return panel->frame(second).origin.x == 1280 - 410 - 50; }));
    panel->synchronize();
    EXPECT_EQ(attributesOf(b).x, 820);
    EXPECT_EQ(attributesOf(b).y, 70);
    EXPECT_EQ(panel->frame(second).origin.y, 800 - 70 - 105);
    EXPECT_EQ(XGrabPointer(probe.get(), DefaultRootWindow(probe.get()), False, ButtonPressMask,
                           GrabModeAsync, GrabModeAsync, None, None, CurrentTime),
              GrabSuccess);
    XUngrabPointer(probe.get(), CurrentTime);
    EXPECT_TRUE(panel->isVisible(first));
    EXPECT_TRUE(panel->isVisible(second));
}

}  // namespace
}  // namespace qn::platform::panel
