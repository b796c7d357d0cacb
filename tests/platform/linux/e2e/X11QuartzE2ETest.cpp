// GoogleTest before Xlib, whose macros (None, Bool, Status) it would not survive.
#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "platform/linux/sysfs/SysfsIOKit.h"
#include "platform/linux/x11/X11Quartz.h"
#include "platform/linux/x11/XAtomCache.h"
#include "platform/linux/x11/XErrorTrap.h"
#include "tests/platform/linux/e2e/X11TestSupport.h"
#include "tests/support/FakeDrmTree.h"
#include "tests/support/PaintedWindow.h"
#include "tests/support/RectCoverage.h"
#include "tests/support/RegistryWalk.h"

namespace qn::platform::x11::e2e {
namespace {

using test::XServer;

struct Event {
    CGDirectDisplayID display;
    CGDisplayChangeSummaryFlags flags;
    bool operator==(const Event&) const = default;
};

void record(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags, void* events) {
    static_cast<std::vector<Event>*>(events)->push_back({display, flags});
}

void ignoreMove(CGScreenUpdateMoveDelta, std::size_t, const CGRect*, void*) {
    ADD_FAILURE() << "X has no move event";
}

std::vector<CGDirectDisplayID> online(X11Quartz& quartz) {
    CGDirectDisplayID ids[64];
    std::uint32_t count = 0;
    EXPECT_EQ(quartz.CGGetOnlineDisplayList(64, ids, &count), kCGErrorSuccess);
    return {ids, ids + count};
}

// The server's own displays, read back through xrandr rather than through the backend.
TEST(X11QuartzE2E, XorgDummyDisplaysAreWhatRandrSays) {
    auto server = startServer(XServer::Kind::XorgDummy);
    ASSERT_TRUE(server);
    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    ASSERT_TRUE(quartz.connected());
    EXPECT_FALSE(quartz.underXwayland());

    const auto outputs = xrandrOutputs(*server);
    ASSERT_EQ(outputs.size(), 16u);
    const auto& dummy0 = outputs.at("DUMMY0");
    ASSERT_TRUE(dummy0.online);
    ASSERT_NE(dummy0.id, 0u);
    EXPECT_EQ(online(quartz), std::vector<CGDirectDisplayID>{dummy0.id});
    EXPECT_EQ(quartz.CGMainDisplayID(), dummy0.id);
    EXPECT_EQ(quartz.CGDisplayBounds(dummy0.id),
              CGRectMake(dummy0.x, dummy0.y, dummy0.width, dummy0.height));
    EXPECT_NE(quartz.CGDisplayIOServicePort(dummy0.id), 0u);
    auto* mode = quartz.CGDisplayCopyDisplayMode(dummy0.id);
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(quartz.CGDisplayModeGetPixelWidth(mode), static_cast<std::size_t>(dummy0.width));
    EXPECT_EQ(quartz.CGDisplayModeGetPixelHeight(mode), static_cast<std::size_t>(dummy0.height));
    // xrandr prints two decimals.
    EXPECT_NEAR(quartz.CGDisplayModeGetRefreshRate(mode), dummy0.rate, 0.005);
    EXPECT_GT(quartz.CGDisplayModeGetRefreshRate(mode), 1.0);
    quartz.CGDisplayModeRelease(mode);
    // An output that drives nothing is no display.
    const auto& dummy5 = outputs.at("DUMMY5");
    EXPECT_EQ(quartz.CGDisplayIOServicePort(dummy5.id), 0u);
    EXPECT_EQ(quartz.CGDisplayBounds(dummy5.id), CGRect{});
    EXPECT_EQ(quartz.CGDisplayCopyDisplayMode(dummy5.id), nullptr);
}

TEST(X11QuartzE2E, XvfbDisplayHasTheRateTheServerGives) {
    auto server = startServer(XServer::Kind::Xvfb);
    ASSERT_TRUE(server);
    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    const auto outputs = xrandrOutputs(*server);
    ASSERT_EQ(outputs.size(), 1u);
    const auto& screen = outputs.begin()->second;
    EXPECT_EQ(online(quartz), std::vector<CGDirectDisplayID>{screen.id});
    EXPECT_EQ(quartz.CGDisplayBounds(screen.id), CGRectMake(0, 0, 1920, 1080));
    auto* mode = quartz.CGDisplayCopyDisplayMode(screen.id);
    EXPECT_EQ(quartz.CGDisplayModeGetRefreshRate(mode), 0.0);
    quartz.CGDisplayModeRelease(mode);
}

TEST(X11QuartzE2E, WithoutRandrTheRootWindowIsTheOneDisplay) {
    std::string error;
    auto server = XServer::start(XServer::Kind::Xvfb, &error, {"-extension", "RANDR"});
    ASSERT_TRUE(server) << error;
    std::string info;
    ASSERT_EQ(server->run({"xdpyinfo"}, &info), 0);
    ASSERT_EQ(info.find("RANDR"), std::string::npos);
    std::smatch root;
    ASSERT_TRUE(std::regex_search(info, root, std::regex(R"(root window id:\s+0x([0-9a-f]+))")));
    const auto rootId = static_cast<CGDirectDisplayID>(std::stoul(root[1], nullptr, 16));

    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    EXPECT_EQ(online(quartz), std::vector<CGDirectDisplayID>{rootId});
    EXPECT_EQ(quartz.CGMainDisplayID(), rootId);
    EXPECT_EQ(quartz.CGDisplayBounds(rootId), CGRectMake(0, 0, 1920, 1080));
    EXPECT_NE(quartz.CGDisplayIOServicePort(rootId), 0u);
    auto* mode = quartz.CGDisplayCopyDisplayMode(rootId);
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(quartz.CGDisplayModeGetPixelWidth(mode), 1920u);
    EXPECT_EQ(quartz.CGDisplayModeGetRefreshRate(mode), 0.0);
    quartz.CGDisplayModeRelease(mode);
}

// Plug, mode change, mirror, unplug: each gives a begin per changed display, then the
// finished events, with the lists already changed.
TEST(X11QuartzE2E, RandrChangesBecomeReconfigurationCallbacks) {
    auto server = startServer(XServer::Kind::XorgDummy);
    ASSERT_TRUE(server);
    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    std::vector<Event> events;
    ASSERT_EQ(quartz.CGDisplayRegisterReconfigurationCallback(record, &events), kCGErrorSuccess);
    EXPECT_EQ(quartz.CGDisplayRegisterReconfigurationCallback(record, &events),
              kCGErrorIllegalArgument);
    ASSERT_EQ(quartz.CGScreenRegisterMoveCallback(ignoreMove, nullptr), kCGErrorSuccess);
    const auto ids = xrandrOutputs(*server);
    const auto d0 = ids.at("DUMMY0").id;
    const auto d1 = ids.at("DUMMY1").id;
    const auto d2 = ids.at("DUMMY2").id;
    auto expectEvents = [&](std::vector<Event> expected) {
        EXPECT_TRUE(driveUntil(quartz, [&] { return events.size() >= expected.size(); }));
        // One more turn shows nothing else is on its way for this change.
        quartz.dispatchPending();
        EXPECT_EQ(events, expected);
        events.clear();
    };

    ASSERT_EQ(server->run({"xrandr", "--addmode", "DUMMY1", "1024x768"}), 0);
    ASSERT_EQ(
        server->run({"xrandr", "--output", "DUMMY1", "--mode", "1024x768", "--right-of", "DUMMY0"}),
        0);
    expectEvents(
        {{d1, kCGDisplayBeginConfigurationFlag}, {d1, kCGDisplayAddFlag | kCGDisplayEnabledFlag}});
    EXPECT_EQ(online(quartz), (std::vector<CGDirectDisplayID>{d0, d1}));
    EXPECT_EQ(quartz.CGDisplayBounds(d1), CGRectMake(2048, 0, 1024, 768));

    ASSERT_EQ(server->run({"xrandr", "--addmode", "DUMMY1", "800x600"}), 0);
    ASSERT_EQ(server->run({"xrandr", "--output", "DUMMY1", "--mode", "800x600"}), 0);
    expectEvents({{d1, kCGDisplayBeginConfigurationFlag}, {d1, kCGDisplaySetModeFlag}});
    EXPECT_EQ(quartz.CGDisplayBounds(d1), CGRectMake(2048, 0, 800, 600));

    ASSERT_EQ(server->run({"xrandr", "--addmode", "DUMMY2", "800x600"}), 0);
    ASSERT_EQ(
        server->run({"xrandr", "--output", "DUMMY2", "--mode", "800x600", "--same-as", "DUMMY1"}),
        0);
    expectEvents({{d1, kCGDisplayBeginConfigurationFlag},
                  {d2, kCGDisplayBeginConfigurationFlag},
                  {d1, kCGDisplayMirrorFlag},
                  {d2, kCGDisplayAddFlag | kCGDisplayEnabledFlag | kCGDisplayMirrorFlag}});
    CGDirectDisplayID active[64];
    std::uint32_t activeCount = 0;
    ASSERT_EQ(quartz.CGGetActiveDisplayList(64, active, &activeCount), kCGErrorSuccess);
    EXPECT_EQ(std::vector<CGDirectDisplayID>(active, active + activeCount),
              (std::vector<CGDirectDisplayID>{d0, d1}));

    ASSERT_EQ(server->run({"xrandr", "--output", "DUMMY2", "--off"}), 0);
    expectEvents({{d1, kCGDisplayBeginConfigurationFlag},
                  {d2, kCGDisplayBeginConfigurationFlag},
                  {d1, kCGDisplayUnMirrorFlag},
                  {d2, kCGDisplayRemoveFlag | kCGDisplayDisabledFlag}});
    EXPECT_EQ(online(quartz), (std::vector<CGDirectDisplayID>{d0, d1}));
    EXPECT_EQ(quartz.CGDisplayIOServicePort(d2), 0u);

    // Gone from the list, nothing is reported any more.
    ASSERT_EQ(quartz.CGDisplayRemoveReconfigurationCallback(record, &events), kCGErrorSuccess);
    ASSERT_EQ(server->run({"xrandr", "--output", "DUMMY1", "--off"}), 0);
    EXPECT_TRUE(driveUntil(quartz, [&] { return online(quartz).size() == 1; }));
    EXPECT_TRUE(events.empty());
    quartz.CGScreenUnregisterMoveCallback(ignoreMove, nullptr);
}

// A reply read while the events before it sit in the socket takes them into Xlib's
// queue, where the descriptor no longer announces them.
TEST(X11QuartzE2E, EventsReadDuringARoundTripAreShownAsQueued) {
    auto server = startServer(XServer::Kind::XorgDummy);
    ASSERT_TRUE(server);
    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    std::vector<Event> events;
    ASSERT_EQ(quartz.CGDisplayRegisterReconfigurationCallback(record, &events), kCGErrorSuccess);
    EXPECT_FALSE(quartz.hasQueuedEvents());
    ASSERT_EQ(server->run({"xrandr", "--addmode", "DUMMY1", "1024x768"}), 0);
    ASSERT_EQ(
        server->run({"xrandr", "--output", "DUMMY1", "--mode", "1024x768", "--right-of", "DUMMY0"}),
        0);
    quartz.CGDisplayIsAsleep(quartz.CGMainDisplayID());  // one round trip
    EXPECT_TRUE(quartz.hasQueuedEvents());
    while (quartz.dispatchPending()) {
    }
    EXPECT_FALSE(quartz.hasQueuedEvents());
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[1].flags, kCGDisplayAddFlag | kCGDisplayEnabledFlag);
}

struct Refreshes {
    std::vector<CGRect> rects;
    int calls = 0;
};

void collect(std::uint32_t count, const CGRect* rects, void* into) {
    auto* refreshes = static_cast<Refreshes*>(into);
    ++refreshes->calls;
    refreshes->rects.insert(refreshes->rects.end(), rects, rects + count);
}

// Under both servers: Xvfb draws through fb alone, Xorg through a driver's screen.
class X11QuartzDrawingE2E : public ::testing::TestWithParam<XServer::Kind> {};

TEST_P(X11QuartzDrawingE2E, DrawingGivesRefreshRectanglesCoveringIt) {
    auto server = startServer(GetParam());
    ASSERT_TRUE(server);
    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    Refreshes refreshes;
    ASSERT_EQ(quartz.CGRegisterScreenRefreshCallback(collect, &refreshes), kCGErrorSuccess);
    ASSERT_EQ(quartz.CGScreenRegisterMoveCallback(ignoreMove, nullptr), kCGErrorSuccess);
    // Everything the server sent this connection before now is in Xlib's queue, and one
    // turn after another hands it all over.
    const auto drain = [&] {
        quartz.CGDisplayIsAsleep(quartz.CGMainDisplayID());  // one round trip
        while (quartz.dispatchPending()) {
        }
    };

    const auto painter = test::PaintedWindow::open(server->display(), 50, 60, 400, 300);
    ASSERT_TRUE(painter);
    EXPECT_TRUE(driveUntil(
        quartz, [&] { return test::covers(refreshes.rects, CGRectMake(50, 60, 400, 300)); }));
    drain();

    // Two drawings finished on the server before the turn that takes them: the damage
    // holds both, and the turn hands over the region's rectangles in one call. They go
    // as two requests (Xlib would join them into one whose damage is their bounding
    // box), and share no row, so the region is exactly these two.
    refreshes = {};
    painter->fill(100, 100, 120, 80);
    painter->fill(10, 10, 30, 20);
    painter->sync();
    drain();
    EXPECT_EQ(refreshes.calls, 1);
    EXPECT_EQ(refreshes.rects,
              (std::vector<CGRect>{CGRectMake(60, 70, 30, 20), CGRectMake(150, 160, 120, 80)}));
    // Nothing was left for a later turn.
    drain();
    EXPECT_EQ(refreshes.calls, 1);

    // A moved window is damage at both places; there is no move event to wait for.
    refreshes = {};
    painter->move(700, 500);
    painter->sync();
    EXPECT_TRUE(driveUntil(quartz, [&] {
        return test::covers(refreshes.rects, CGRectMake(50, 60, 400, 300)) &&
               test::covers(refreshes.rects, CGRectMake(700, 500, 400, 300));
    }));
    quartz.CGUnregisterScreenRefreshCallback(collect, &refreshes);
    quartz.CGScreenUnregisterMoveCallback(ignoreMove, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Servers, X11QuartzDrawingE2E,
                         ::testing::Values(XServer::Kind::Xvfb, XServer::Kind::XorgDummy),
                         [](const auto& info) {
                             return info.param == XServer::Kind::Xvfb ? "Xvfb" : "XorgDummy";
                         });

TEST(X11QuartzE2E, ScreenSaverForcedOnAndOffReadsAsAsleepAndAwake) {
    auto server = startServer(XServer::Kind::Xvfb);
    ASSERT_TRUE(server);
    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    const auto main = quartz.CGMainDisplayID();
    ASSERT_NE(main, 0u);
    EXPECT_EQ(quartz.CGDisplayIsAsleep(main), 0u);
    ASSERT_EQ(server->run({"xset", "s", "activate"}), 0);
    EXPECT_EQ(quartz.CGDisplayIsAsleep(main), 1u);
    std::uint32_t count = 1;
    EXPECT_EQ(quartz.CGGetActiveDisplayList(64, nullptr, &count), kCGErrorSuccess);
    EXPECT_EQ(count, 0u);
    ASSERT_EQ(server->run({"xset", "s", "reset"}), 0);
    EXPECT_EQ(quartz.CGDisplayIsAsleep(main), 0u);
    // An id that is no display is never asleep.
    EXPECT_EQ(quartz.CGDisplayIsAsleep(main + 1), 0u);
}

TEST(X11QuartzE2E, NoDisplayOrAnUnreachableOneGivesNoMainDisplay) {
    const char* saved = std::getenv("DISPLAY");
    const std::string previous = saved ? saved : "";
    ::unsetenv("DISPLAY");
    ExitingSystem system;
    {
        X11Quartz quartz(system);
        EXPECT_FALSE(quartz.connected());
        EXPECT_EQ(quartz.CGMainDisplayID(), 0u);
        EXPECT_EQ(quartz.fd(), -1);
        EXPECT_FALSE(quartz.dispatchPending());
        std::uint32_t count = 7;
        EXPECT_EQ(quartz.CGGetOnlineDisplayList(64, nullptr, &count), kCGErrorFailure);
        EXPECT_EQ(count, 0u);
        EXPECT_NE(quartz.CGDisplayRegisterReconfigurationCallback(record, nullptr),
                  kCGErrorSuccess);
    }
    if (saved) {
        ::setenv("DISPLAY", previous.c_str(), 1);
    }
    int unused = 900;
    while (std::filesystem::exists("/tmp/.X11-unix/X" + std::to_string(unused))) {
        ++unused;
    }
    const std::string nowhere = ":" + std::to_string(unused);
    X11Quartz quartz(system, nowhere.c_str());
    EXPECT_FALSE(quartz.connected());
    EXPECT_EQ(quartz.CGMainDisplayID(), 0u);
}

// The server goes away under a running backend: the process ends with status 1 through
// the System port, in a child so that the test itself lives on.
TEST(X11QuartzE2E, BrokenConnectionEndsTheProcessWithStatusOne) {
    auto server = startServer(XServer::Kind::Xvfb);
    ASSERT_TRUE(server);
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(ready[0]);
        ExitingSystem system;
        system.setExitWitness(ready[1]);
        X11Quartz quartz(system, server->display().c_str());
        const char byte = quartz.connected() ? 'y' : 'n';
        (void)!::write(ready[1], &byte, 1);
        // Only the System port may end this loop.
        for (int turns = 0; turns < 600; ++turns) {
            pollfd p{quartz.fd(), POLLIN, 0};
            ::poll(&p, 1, 100);
            quartz.dispatchPending();
        }
        std::_Exit(99);
    }
    ::close(ready[1]);
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'y');
    server->stop();
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    // The exit went through the System port.
    byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    ::close(ready[0]);
}

void setOutputProperty(Display* display, RROutput output, const char* name, int format,
                       const unsigned char* data, int count) {
    const Atom atom = XInternAtom(display, name, False);
    XRRChangeOutputProperty(display, output, atom, XA_INTEGER, format, PropModeReplace, data,
                            count);
}

// An adapter's output: EDID and connector id set on it as a kernel driver would, a sysfs
// tree with the adapter's card; the registry walk finds its index through the numbers
// the backend read.
TEST(X11QuartzE2E, AnAdapterOutputIsFoundByTheRegistryWalk) {
    auto server = startServer(XServer::Kind::XorgDummy);
    ASSERT_TRUE(server);
    ASSERT_EQ(server->run({"xrandr", "--addmode", "DUMMY1", "1024x768"}), 0);
    ASSERT_EQ(
        server->run({"xrandr", "--output", "DUMMY1", "--mode", "1024x768", "--right-of", "DUMMY0"}),
        0);
    const auto ids = xrandrOutputs(*server);
    const auto d0 = ids.at("DUMMY0").id;
    const auto d1 = ids.at("DUMMY1").id;

    test::FakeDrmTree tree;
    tree.addCard(0, "i915");
    tree.addConnector(0, "eDP-1", 33, test::makeEdid(0x1234, 0x0001));
    tree.addCard(2, "quintor");
    const auto edid = test::makeEdid(0x4d10, 0x1402);
    tree.addConnector(2, "DVI-I-1", 44, edid);

    ExitingSystem system;
    X11Quartz quartz(system, server->display().c_str());
    sysfs::SysfsIOKit registry(tree.root(), [&] { return quartz.drivenConnectorIds(); });
    EXPECT_EQ(test::registryIndexFor(registry, 0x4d10, 0x1402), 0xffffffffu);

    Display* driver = XOpenDisplay(server->display().c_str());
    ASSERT_NE(driver, nullptr);
    setOutputProperty(driver, d1, "EDID", 8, edid.data(), static_cast<int>(edid.size()));
    const long connector[] = {44};
    setOutputProperty(driver, d1, "CONNECTOR_ID", 32,
                      reinterpret_cast<const unsigned char*>(connector), 1);
    XSync(driver, False);
    XCloseDisplay(driver);

    EXPECT_TRUE(driveUntil(quartz, [&] { return quartz.CGDisplayVendorNumber(d1) == 0x4d10; }));
    EXPECT_EQ(quartz.CGDisplayModelNumber(d1), 0x1402u);
    EXPECT_EQ(quartz.drivenConnectorIds(), std::vector<std::uint32_t>{44});
    EXPECT_EQ(test::registryIndexFor(registry, quartz.CGDisplayVendorNumber(d1),
                                     quartz.CGDisplayModelNumber(d1)),
              2u);
    // The machine's own output has no EDID here: no entry carries its numbers.
    EXPECT_EQ(test::registryIndexFor(registry, quartz.CGDisplayVendorNumber(d0),
                                     quartz.CGDisplayModelNumber(d0)),
              0xffffffffu);
}

TEST(X11QuartzE2E, ErrorTrapsCatchErrorsOfTheirOwnRequestsAndAtomsAreInternedOnce) {
    auto server = startServer(XServer::Kind::Xvfb);
    ASSERT_TRUE(server);
    Display* display = XOpenDisplay(server->display().c_str());
    ASSERT_NE(display, nullptr);
    {
        XErrorTrap outer(display);
        {
            XErrorTrap inner(display);
            XWindowAttributes attributes;
            XGetWindowAttributes(display, 0x7fffff, &attributes);
            EXPECT_EQ(inner.errorCode(), BadWindow);
        }
        EXPECT_EQ(outer.errorCode(), Success);
    }
    // Outside any trap an error is dropped, not fatal.
    XUnmapWindow(display, 0x7ffffe);
    XSync(display, False);

    XAtomCache atoms(display);
    const Atom edid = atoms.get("EDID");
    EXPECT_EQ(edid, XInternAtom(display, "EDID", True));
    EXPECT_EQ(atoms.get("EDID"), edid);
    EXPECT_NE(atoms.get("CONNECTOR_ID"), edid);

    // Fetched together, each name keeps its own atom, and one known already stays.
    XAtomCache batch(display);
    batch.get("EDID");
    batch.prefetch({"QN_TEST_FIRST", "EDID", "QN_TEST_SECOND"});
    const Atom first = XInternAtom(display, "QN_TEST_FIRST", True);
    const Atom second = XInternAtom(display, "QN_TEST_SECOND", True);
    ASSERT_NE(first, None);
    ASSERT_NE(second, None);
    EXPECT_NE(first, second);
    EXPECT_EQ(batch.get("QN_TEST_FIRST"), first);
    EXPECT_EQ(batch.get("QN_TEST_SECOND"), second);
    EXPECT_EQ(batch.get("EDID"), edid);
    XCloseDisplay(display);
}

}  // namespace
}  // namespace qn::platform::x11::e2e
