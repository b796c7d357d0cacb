// The agent's own process with every Linux backend: a private bus standing in for the
// system bus, logind's stand-in with an active session, an X server and the Manager
// stand-in, all started and reaped by each test. What the Manager hears is read from
// the stand-in's transcript; what the agent saw, from its decrypted log.

#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>

#include "tests/e2e/support/AgentUnderTest.h"
#include "tests/e2e/support/TestServers.h"
#include "tests/e2e/support/streaming/StreamingSupport.h"
#include "tests/support/FakeDrmTree.h"
#include "tests/support/PaintedWindow.h"
#include "tests/support/RectCoverage.h"
#include "tests/support/XServer.h"
#include "tests/support/linux/LogindStandIn.h"
#include "tests/support/linux/PipeWireServer.h"
#include "tests/support/linux/PrivateBus.h"

// Last: Xlib's macros (None, Bool, Status) must not meet the headers above.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

namespace qn::tests::e2e {
namespace {

const bool kProgramsKnown = [] {
    setenv("QN_TEST_SOURCE_DIR", QN_E2E_SOURCE_DIR, 0);
    setenv("QN_QNMANAGER", QN_E2E_QNMANAGER, 0);
    setenv("QN_E2E_REAL_AGENT", QN_E2E_REAL_AGENT_PROGRAM, 0);
    return true;
}();

using nlohmann::json;
using test::XServer;
using testing::linux_host::LogindStandIn;
using testing::linux_host::PipeWireServer;
using testing::linux_host::PrivateBus;

constexpr const char* kStarted = "started:withSessionType:";
constexpr const char* kRefreshed = "onRectRefreshed:onDisplayID:";
constexpr const char* kOnDisplay =
    "onDisplay:reconfigurationWithFlags:andBounds:andFramebufferIndex:andRefreshRate:";
constexpr std::uint32_t kNoAdapter = 0xFFFFFFFFu;
constexpr int kAdd = 1 << 4, kRemove = 1 << 5, kSetMode = 1 << 3, kEnabled = 1 << 8,
              kDisabled = 1 << 9, kMirror = 1 << 10, kUnMirror = 1 << 11;

// One online output as RandR gives it, read by the test itself.
struct RandrDisplay {
    std::uint32_t id = 0;
    int x = 0, y = 0, width = 0, height = 0;
    double rate = 0;
};

std::map<std::string, RandrDisplay> randrDisplays(const std::string& name) {
    std::map<std::string, RandrDisplay> displays;
    Display* display = XOpenDisplay(name.c_str());
    if (display == nullptr) {
        ADD_FAILURE() << "cannot open " << name;
        return displays;
    }
    XRRScreenResources* resources =
        XRRGetScreenResourcesCurrent(display, DefaultRootWindow(display));
    for (int i = 0; i < resources->noutput; ++i) {
        XRROutputInfo* output = XRRGetOutputInfo(display, resources, resources->outputs[i]);
        if (output->crtc != 0) {
            XRRCrtcInfo* crtc = XRRGetCrtcInfo(display, resources, output->crtc);
            if (crtc->mode != 0) {
                RandrDisplay d{static_cast<std::uint32_t>(resources->outputs[i]),
                               crtc->x,
                               crtc->y,
                               static_cast<int>(crtc->width),
                               static_cast<int>(crtc->height),
                               0};
                for (int m = 0; m < resources->nmode; ++m) {
                    const XRRModeInfo& mode = resources->modes[m];
                    if (mode.id == crtc->mode && mode.hTotal && mode.vTotal) {
                        d.rate = static_cast<double>(mode.dotClock) / (mode.hTotal * mode.vTotal);
                    }
                }
                displays[output->name] = d;
            }
            XRRFreeCrtcInfo(crtc);
        }
        XRRFreeOutputInfo(output);
    }
    XRRFreeScreenResources(resources);
    XCloseDisplay(display);
    return displays;
}

// One message window as the X server holds it.
struct PanelSeen {
    int x = 0, y = 0, depth = 0;
    bool overrideRedirect = false;
    std::string title, text;
};

std::string utf8Property(Display* display, Window window, const char* name) {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    std::string text;
    if (XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, 4096, False,
                           XInternAtom(display, "UTF8_STRING", False), &type, &format, &count,
                           &after, &data) == Success &&
        data != nullptr) {
        text.assign(reinterpret_cast<const char*>(data), count);
    }
    if (data != nullptr) {
        XFree(data);
    }
    return text;
}

// The root's mapped children that carry a message text, in stacking order (bottom first).
std::vector<PanelSeen> shownPanels(Display* display) {
    std::vector<PanelSeen> panels;
    Window root = 0, parent = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) {
        return panels;
    }
    const Atom textAtom = XInternAtom(display, "_QUINTOR_PANEL_TEXT", False);
    for (unsigned int i = 0; i < count; ++i) {
        int propertyCount = 0;
        Atom* properties = XListProperties(display, children[i], &propertyCount);
        const bool hasText = std::find(properties, properties + propertyCount, textAtom) !=
                             properties + propertyCount;
        if (properties != nullptr) {
            XFree(properties);
        }
        XWindowAttributes attributes;
        if (!hasText || !XGetWindowAttributes(display, children[i], &attributes) ||
            attributes.map_state != IsViewable) {
            continue;
        }
        panels.push_back({attributes.x, attributes.y, attributes.depth,
                          attributes.override_redirect == True,
                          utf8Property(display, children[i], "_NET_WM_NAME"),
                          utf8Property(display, children[i], "_QUINTOR_PANEL_TEXT")});
    }
    if (children != nullptr) {
        XFree(children);
    }
    return panels;
}

class RealAgentE2e : public ::testing::Test {
  protected:
    static constexpr const char* kSessionId = "7";

    void SetUp() override { startBus(); }
    // `systemPolicy`: a system-type bus under that policy file instead of a session-type
    // bus of the test's user.
    void startBus(const std::string& systemPolicy = {}) {
        logind.reset();
        bus = std::make_unique<PrivateBus>(systemPolicy);
        logind = std::make_unique<LogindStandIn>(*bus);
    }
    void TearDown() override {
        if (HasFailure() && agent) {
            std::cerr << "agent log:\n" << agent->logText();
        }
    }

    void addSession(bool active, uid_t uid = getuid(), const std::string& user = "tester") {
        sessionPath = logind->addSession(kSessionId, uid, user, active);
        logind->answerSessionByPid(sessionPath);
    }
    void startX(XServer::Kind kind, const std::vector<std::string>& extraArgs = {}) {
        std::string error;
        x = XServer::start(kind, &error, extraArgs);
        ASSERT_TRUE(x) << error;
    }
    void startManager() {
        manager = std::make_unique<ManagerStandIn>(bus->address());
        const auto first = manager->next();
        ASSERT_TRUE(first && first->value("manager", "") == "registered");
    }
    // `home`: a folder of its own for each agent of a test, so each has its own log.
    void startAgent(std::vector<std::string> environment = {},
                    std::vector<std::string> wrapper = {}, const std::string& home = "home") {
        if (x) {
            environment.push_back("DISPLAY=" + x->display());
        }
        // No PipeWire of the machine's: the test's own, or none and the agent runs without
        // audio.
        environment.push_back("XDG_RUNTIME_DIR=" +
                              (runtimeDirectory.empty() ? scratch.path() : runtimeDirectory));
        environment.push_back("PIPEWIRE_RUNTIME_DIR");
        environment.push_back("PIPEWIRE_REMOTE");
        // Under the leak checker: the agent's one known leak is let through, no other.
        environment.push_back("LSAN_OPTIONS=suppressions=" + sourceDirectory() +
                              "/tests/e2e/agent.lsan");
        AgentUnderTest::Options options{.busAddress = bus->address(),
                                        .home = scratch.file(home),
                                        .environment = std::move(environment),
                                        .programVariable = "QN_E2E_REAL_AGENT",
                                        .wrapper = std::move(wrapper)};
        agent = std::make_unique<AgentUnderTest>(std::move(options));
    }
    int agentStatus() { return ChildProcess::exitCode(agent->process().wait()); }

    // The start message with the session's id, then the first report of each display.
    std::map<std::uint32_t, json> expectStartUp(std::size_t displays) {
        std::map<std::uint32_t, json> reports;
        const auto started = manager->nextCall(kStarted);
        EXPECT_TRUE(started) << "no start message";
        if (!started) {
            return reports;
        }
        EXPECT_EQ((*started)["args"], json::array({7, 0}));
        while (reports.size() < displays) {
            const auto report = manager->nextCall(kOnDisplay);
            if (!report) {
                ADD_FAILURE() << "only " << reports.size() << " displays reported";
                break;
            }
            reports.emplace((*report)["args"][0].get<std::uint32_t>(), (*report)["args"]);
        }
        return reports;
    }
    // The next report of `display`, skipping the others'.
    std::optional<json> nextReportOf(std::uint32_t display) {
        while (const auto report = manager->nextCall(kOnDisplay)) {
            if ((*report)["args"][0].get<std::uint32_t>() == display) {
                return (*report)["args"];
            }
        }
        return std::nullopt;
    }
    // The next report of each of `displays`, in whichever order they come, skipping the
    // others'; with `skipModeReports`, also the mode reports (flags exactly kSetMode)
    // that every change sends the other displays 2 seconds later.
    std::map<std::uint32_t, json> nextReportsOf(const std::vector<std::uint32_t>& displays,
                                                bool skipModeReports = false) {
        std::map<std::uint32_t, json> reports;
        while (reports.size() < displays.size()) {
            const auto report = manager->nextCall(kOnDisplay);
            if (!report) {
                ADD_FAILURE() << "only " << reports.size() << " of " << displays.size()
                              << " displays reported";
                break;
            }
            const json& args = (*report)["args"];
            const auto id = args[0].get<std::uint32_t>();
            if (std::find(displays.begin(), displays.end(), id) == displays.end() ||
                reports.count(id) || (skipModeReports && args[1].get<int>() == kSetMode)) {
                continue;
            }
            reports.emplace(id, args);
        }
        return reports;
    }
    static void expectReport(const json& args, const RandrDisplay& d, int flags,
                             std::uint32_t index = kNoAdapter) {
        EXPECT_EQ(args[0].get<std::uint32_t>(), d.id) << args;
        EXPECT_EQ(args[1].get<int>(), flags) << args;
        EXPECT_EQ(args[2], json::array({d.x, d.y, d.width, d.height})) << args;
        EXPECT_EQ(args[3].get<std::uint32_t>(), index) << args;
        EXPECT_NEAR(args[4].get<double>(), d.rate, 1e-6) << args;
    }

    ScratchDirectory scratch;
    std::string runtimeDirectory;
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<LogindStandIn> logind;
    std::string sessionPath;
    std::unique_ptr<XServer> x;
    std::unique_ptr<ManagerStandIn> manager;
    std::unique_ptr<AgentUnderTest> agent;
};

TEST_F(RealAgentE2e, StartUpReportsTheServersDisplaysAsRandrGivesThem) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::XorgDummy));
    ASSERT_EQ(x->run({"xrandr", "--addmode", "DUMMY1", "1024x768"}), 0);
    ASSERT_EQ(
        x->run({"xrandr", "--output", "DUMMY1", "--mode", "1024x768", "--right-of", "DUMMY0"}), 0);
    const auto displays = randrDisplays(x->display());
    ASSERT_EQ(displays.size(), 2u);
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    const auto reports = expectStartUp(2);
    for (const auto& [name, d] : displays) {
        ASSERT_TRUE(reports.count(d.id)) << name << " not reported";
        EXPECT_GT(d.rate, 1.0) << name << ": the dummy driver's timings";
        expectReport(reports.at(d.id), d, kAdd);
    }
    agent->process().signal(SIGTERM);
    EXPECT_TRUE(manager->nextCall("closing"));
    EXPECT_EQ(agentStatus(), 0);
}

TEST_F(RealAgentE2e, SleepAndWakeReachTheManagerInOrderWithTheLockHeldBetween) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::Xvfb));
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    expectStartUp(1);
    ASSERT_TRUE(agent->waitForLog("Screen update callbacks have been registered"));
    // The delay lock is asked for on the loop's first turn, after the start message: the
    // only turn in which a sleep could be heard without it.
    auto locks = logind->inhibitors();
    for (int i = 0; i < 3000 && locks.empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        locks = logind->inhibitors();
    }
    ASSERT_EQ(locks.size(), 1u);
    EXPECT_EQ(locks[0].what, "sleep");
    EXPECT_EQ(locks[0].mode, "delay");

    logind->emitPrepareForSleep(true);
    std::vector<json> skipped;
    ASSERT_TRUE(manager->nextCall("systemWillSleep", &skipped));
    logind->emitPrepareForSleep(false);
    ASSERT_TRUE(manager->nextCall("systemWillWake", &skipped));
    for (const auto& line : skipped) {
        EXPECT_NE(line.value("call", ""), "systemWillWake") << "wake before sleep";
    }
    EXPECT_EQ(agent->countInLog("System will sleep"), 1);
    EXPECT_EQ(agent->countInLog("System will wake"), 1);
    // Let go for the sleep, taken again at the wake.
    const auto calls = logind->managerCalls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "Inhibit"), 2)
        << ::testing::PrintToString(calls);
}

TEST_F(RealAgentE2e, LogoutAndLoginFollowTheSessionsActiveState) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::Xvfb));
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    const auto start = expectStartUp(1);
    ASSERT_EQ(start.size(), 1u);
    const std::uint32_t display = start.begin()->first;

    logind->setSessionActive(sessionPath, false);
    const auto logout = manager->nextCall("userWillLogout:");
    ASSERT_TRUE(logout);
    EXPECT_EQ((*logout)["args"], json::array({7}));
    logind->setSessionActive(sessionPath, true);
    const auto login = manager->nextCall("userWillLogin:");
    ASSERT_TRUE(login);
    EXPECT_EQ((*login)["args"], json::array({7}));
    // After a login every display is told again.
    const auto again = nextReportOf(display);
    ASSERT_TRUE(again);
    EXPECT_EQ((*again)[1].get<int>(), kAdd);
}

TEST_F(RealAgentE2e, TheDisplayAsleepAndAwakeThroughTheScreenSaver) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::Xvfb));
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    expectStartUp(1);
    ASSERT_EQ(x->run({"xset", "s", "activate"}), 0);
    const auto asleep = manager->nextCall("setSleepMode:witUserZoom:");
    ASSERT_TRUE(asleep);
    EXPECT_EQ((*asleep)["args"], json::array({true, false}));
    ASSERT_EQ(x->run({"xset", "s", "reset"}), 0);
    const auto awake = manager->nextCall("setSleepMode:witUserZoom:");
    ASSERT_TRUE(awake);
    EXPECT_EQ((*awake)["args"], json::array({false, false}));
    EXPECT_EQ(agent->countInLog("Displays changed sleepstate to: sleep"), 1);
    EXPECT_EQ(agent->countInLog("Displays changed sleepstate to: awake"), 1);
}

TEST_F(RealAgentE2e, SigtermInEachWaitAndWhileRunning) {
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::Xvfb));
    {
        SCOPED_TRACE("no active session yet");
        addSession(false);
        startAgent({}, {}, "home1");
        ASSERT_TRUE(agent->waitForLog("The user whose session we are running in is inactive"));
        agent->process().signal(SIGTERM);
        EXPECT_EQ(agentStatus(), 0);
        EXPECT_EQ(agent->countInLog("NotificationCommunicator init"), 0);
    }
    {
        SCOPED_TRACE("no Manager yet");
        logind->setSessionActive(sessionPath, true);
        startAgent({}, {}, "home2");
        ASSERT_TRUE(agent->waitForLog("NotificationCommunicator init", 2));
        agent->process().signal(SIGTERM);
        EXPECT_EQ(agentStatus(), 0);
        EXPECT_EQ(agent->countInLog("Not connected with QNM. Signal 15 will not be forwarded."), 1);
    }
    {
        SCOPED_TRACE("running");
        ASSERT_NO_FATAL_FAILURE(startManager());
        startAgent({}, {}, "home3");
        expectStartUp(1);
        agent->process().signal(SIGTERM);
        std::vector<json> skipped;
        const auto closing = manager->nextCall("closing", &skipped);
        ASSERT_TRUE(closing);
        EXPECT_EQ((*closing)["args"], json::array());
        EXPECT_EQ(agentStatus(), 0);
        EXPECT_EQ(agent->countInLog("Got signal 15 - will forward to QNM"), 1);
    }
}

TEST_F(RealAgentE2e, NoDisplayOrAnUnreachableOneEndsWithStatusOne) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startManager());
    {
        SCOPED_TRACE("no DISPLAY");
        startAgent({"DISPLAY"});
        EXPECT_EQ(agentStatus(), 1);
    }
    {
        SCOPED_TRACE("unreachable");
        // A display number with no server behind it.
        ASSERT_FALSE(std::filesystem::exists("/tmp/.X11-unix/X65000"));
        startAgent({"DISPLAY=:65000"});
        EXPECT_EQ(agentStatus(), 1);
    }
    // Neither got as far as telling the Manager.
    manager->process().signal(SIGTERM);
    while (const auto line = manager->next()) {
        EXPECT_NE(line->value("call", ""), kStarted) << *line;
    }
}

// Under Xorg with the dummy driver: each change reaches the Manager with the flags the
// agent's decision gives for what the X server reported.
TEST_F(RealAgentE2e, PlugUnplugModeChangeAndMirrorReachTheManager) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::XorgDummy));
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    const auto start = expectStartUp(1);
    ASSERT_EQ(start.size(), 1u);
    ASSERT_TRUE(agent->waitForLog("Screen update callbacks have been registered"));

    SCOPED_TRACE("plug");
    ASSERT_EQ(x->run({"xrandr", "--addmode", "DUMMY1", "1024x768"}), 0);
    ASSERT_EQ(
        x->run({"xrandr", "--output", "DUMMY1", "--mode", "1024x768", "--right-of", "DUMMY0"}), 0);
    auto displays = randrDisplays(x->display());
    ASSERT_TRUE(displays.count("DUMMY1"));
    const auto d1 = displays.at("DUMMY1");
    auto report = nextReportOf(d1.id);
    ASSERT_TRUE(report);
    expectReport(*report, d1, kAdd | kEnabled);

    SCOPED_TRACE("mode change");
    ASSERT_EQ(x->run({"xrandr", "--addmode", "DUMMY1", "800x600"}), 0);
    ASSERT_EQ(x->run({"xrandr", "--output", "DUMMY1", "--mode", "800x600"}), 0);
    displays = randrDisplays(x->display());
    report = nextReportOf(d1.id);
    ASSERT_TRUE(report);
    expectReport(*report, displays.at("DUMMY1"), kSetMode);

    SCOPED_TRACE("mirror");
    ASSERT_EQ(x->run({"xrandr", "--addmode", "DUMMY2", "800x600"}), 0);
    ASSERT_EQ(x->run({"xrandr", "--output", "DUMMY2", "--mode", "800x600", "--same-as", "DUMMY1"}),
              0);
    displays = randrDisplays(x->display());
    ASSERT_TRUE(displays.count("DUMMY2"));
    const auto d2 = displays.at("DUMMY2");
    // Both ends of the mirror are told: the one already shown as mirrored, the new one
    // as added and mirrored.
    auto reports = nextReportsOf({d1.id, d2.id});
    ASSERT_EQ(reports.size(), 2u);
    expectReport(reports.at(d1.id), displays.at("DUMMY1"), kMirror);
    expectReport(reports.at(d2.id), d2, kAdd | kEnabled | kMirror);

    SCOPED_TRACE("unplug, which undoes the mirror");
    ASSERT_EQ(x->run({"xrandr", "--output", "DUMMY2", "--off"}), 0);
    displays = randrDisplays(x->display());
    ASSERT_FALSE(displays.count("DUMMY2"));
    // The mirror's mode reports may still be on their way; they are not these.
    reports = nextReportsOf({d1.id, d2.id}, true);
    ASSERT_EQ(reports.size(), 2u);
    expectReport(reports.at(d1.id), displays.at("DUMMY1"), kUnMirror);
    // Gone from the server: no bounds or rate are left to read.
    EXPECT_EQ(reports.at(d2.id)[1].get<int>(), kRemove | kDisabled) << reports.at(d2.id);
}

// Under Xorg with the dummy driver: a window mapped and rectangles filled into it reach
// the Manager as refresh rectangles whose union covers what was drawn.
TEST_F(RealAgentE2e, DrawingReachesTheManagerAsRefreshRectangles) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::XorgDummy));
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    expectStartUp(1);
    ASSERT_TRUE(agent->waitForLog("Screen update callbacks have been registered"));

    // Reads refresh calls until their rectangles cover all of `drawn`.
    std::vector<platform::CGRect> refreshed;
    const auto awaitCovered = [&](const std::vector<platform::CGRect>& drawn) {
        const auto covered = [&] {
            return std::all_of(drawn.begin(), drawn.end(),
                               [&](const auto& r) { return test::covers(refreshed, r); });
        };
        while (!covered()) {
            const auto call = manager->nextCall(kRefreshed);
            if (!call) {
                return false;
            }
            const json& args = (*call)["args"];
            EXPECT_EQ(args[1].get<std::uint32_t>(), 0u) << args << ": not the desktop";
            const json& r = args[0];
            EXPECT_GT(r[2].get<double>(), 0) << args;
            EXPECT_GT(r[3].get<double>(), 0) << args;
            refreshed.push_back(platform::CGRectMake(r[0].get<double>(), r[1].get<double>(),
                                                     r[2].get<double>(), r[3].get<double>()));
        }
        return true;
    };

    const auto painter = test::PaintedWindow::open(x->display(), 50, 60, 400, 300);
    ASSERT_TRUE(painter);
    {
        SCOPED_TRACE("mapped");
        EXPECT_TRUE(awaitCovered({platform::CGRectMake(50, 60, 400, 300)}));
    }

    // Only what is reported from here on counts for the rectangles.
    refreshed.clear();
    painter->fill(100, 100, 120, 80);
    painter->fill(10, 10, 30, 20);
    painter->sync();
    {
        SCOPED_TRACE("filled");
        EXPECT_TRUE(awaitCovered(
            {platform::CGRectMake(150, 160, 120, 80), platform::CGRectMake(60, 70, 30, 20)}));
    }
}

// The adapter's card laid over /sys by umockdev-run; its output carries the EDID and the
// connector id a kernel driver would set. The registry walk finds the adapter's index;
// the machine's own output has none.
TEST_F(RealAgentE2e, AnAdapterOutputIsReportedWithTheIndexTheRegistryFound) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::XorgDummy));
    ASSERT_EQ(x->run({"xrandr", "--addmode", "DUMMY1", "1024x768"}), 0);
    ASSERT_EQ(
        x->run({"xrandr", "--output", "DUMMY1", "--mode", "1024x768", "--right-of", "DUMMY0"}), 0);
    const auto displays = randrDisplays(x->display());
    ASSERT_EQ(displays.size(), 2u);
    // The recorded tree's adapter connector: id 44, EDID vendor 0x4d10, product 0x1402.
    ASSERT_TRUE(markAsAdapterOutput(x->display(), displays.at("DUMMY1").id,
                                    test::makeEdid(0x4d10, 0x1402), 44));
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent({"ASAN_OPTIONS=verify_asan_link_order=0"},
               {"/usr/bin/umockdev-run", "--device",
                sourceDirectory() + "/tests/platform/linux/e2e/adapter-card.umockdev", "--"});
    const auto reports = expectStartUp(2);
    ASSERT_EQ(reports.size(), 2u);
    expectReport(reports.at(displays.at("DUMMY1").id), displays.at("DUMMY1"), kAdd, 1);
    expectReport(reports.at(displays.at("DUMMY0").id), displays.at("DUMMY0"), kAdd, kNoAdapter);
    EXPECT_GE(agent->countInLog("FB index not found"), 1);
    // umockdev-run passes the signal on and ends with the agent's status.
    agent->process().signal(SIGTERM);
    EXPECT_TRUE(manager->nextCall("closing"));
    EXPECT_EQ(agentStatus(), 0);
}

// PipeWire of the test's own: the agent keeps an adapter's audio at 48 kHz and leaves
// another vendor's alone. A node already there when the agent starts waits for the next
// change of the list, as every adapter then counts as newly plugged. The rates are read
// back from PipeWire itself.
TEST_F(RealAgentE2e, AnAdapterAudioNodeIsSetTo48kHzThroughPipeWire) {
    using testing::linux_host::createUsbNode;
    using testing::linux_host::nodeNamed;
    PipeWireServer pipewire;
    ASSERT_TRUE(pipewire.ready()) << "pipewire did not start";
    ASSERT_TRUE(createUsbNode(pipewire, "qn-before", "0xabcd", 44100));
    ASSERT_TRUE(createUsbNode(pipewire, "qn-other", "0x1234", 44100));
    ASSERT_TRUE(nodeNamed(pipewire, "qn-before") && nodeNamed(pipewire, "qn-other"));

    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::Xvfb));
    ASSERT_NO_FATAL_FAILURE(startManager());
    runtimeDirectory = pipewire.runtimeDirectory();
    startAgent();
    expectStartUp(1);
    ASSERT_TRUE(agent->waitForLog("Screen update callbacks have been registered"));
    EXPECT_EQ(agent->countInLog("No audio:"), 0) << "the agent did not reach the test's server";
    // Running, and nothing has touched the nodes that were there before it.
    EXPECT_EQ(nodeNamed(pipewire, "qn-before")->rate, 44100);
    EXPECT_EQ(nodeNamed(pipewire, "qn-other")->rate, 44100);

    SCOPED_TRACE("an adapter plugged in");
    ASSERT_TRUE(createUsbNode(pipewire, "qn-adapter", "0xabcd", 44100));
    EXPECT_EQ(testing::linux_host::awaitRate(pipewire, "qn-adapter", 48000), 48000);
    EXPECT_EQ(testing::linux_host::awaitRate(pipewire, "qn-before", 48000), 48000);
    // The scan that set both has passed over it.
    EXPECT_EQ(nodeNamed(pipewire, "qn-other")->rate, 44100);

    agent->process().signal(SIGTERM);
    EXPECT_TRUE(manager->nextCall("closing"));
    EXPECT_EQ(agentStatus(), 0);
}

// The Manager's two user messages, posted by its stand-in, appear as two message windows
// on the X server: override-redirect, 32-bit for their round corners, 410 from the main
// display's right edge and 30 from its top, each with its title and its text.
TEST_F(RealAgentE2e, TheManagersTwoMessagesAppearAsPanelWindows) {
    addSession(true);
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::Xvfb));
    const auto displays = randrDisplays(x->display());
    ASSERT_EQ(displays.size(), 1u);
    const int width = displays.begin()->second.width;
    ASSERT_NO_FATAL_FAILURE(startManager());
    startAgent();
    expectStartUp(1);
    ASSERT_TRUE(manager->command(
        "post QNM_Notification_Sw_Update_Required {\"QNM_Notification_Devicekey\":\"2\"}"));
    ASSERT_TRUE(
        manager->command("post QNM_Notification_Monitor_Mode_Restricted "
                         "{\"QNM_Notification_Monitor_Mode_Restricted_Monitor1\":\"Left\","
                         "\"QNM_Notification_Monitor_Mode_Restricted_Monitor2\":\"Right\","
                         "\"QNM_Notification_Monitor_Mode_Restricted_Hres\":1280,"
                         "\"QNM_Notification_Monitor_Mode_Restricted_Vres\":720}"));
    ASSERT_TRUE(agent->waitForLog("received QNM_Notification_Monitor_Mode_Restricted"));

    Display* display = XOpenDisplay(x->display().c_str());
    ASSERT_NE(display, nullptr);
    std::vector<PanelSeen> panels;
    // Bounded: the windows stay 15 seconds, far longer than this takes.
    for (int attempt = 0; attempt < 200 && panels.size() < 2; ++attempt) {
        panels = shownPanels(display);
        if (panels.size() < 2) {
            usleep(20 * 1000);
        }
    }
    XCloseDisplay(display);
    ASSERT_EQ(panels.size(), 2u);
    std::map<std::string, PanelSeen> byTitle;
    for (const auto& panel : panels) {
        EXPECT_TRUE(panel.overrideRedirect);
        EXPECT_EQ(panel.depth, 32);
        EXPECT_EQ(panel.x, width - 410);
        EXPECT_EQ(panel.y, 30);
        byTitle[panel.title] = panel;
    }
    ASSERT_TRUE(byTitle.count("") && byTitle.count("Display resolution limited"))
        << panels[0].title << " / " << panels[1].title;
    EXPECT_EQ(byTitle[""].text,
              "The USB display adapter 2 needs newer software before it can be used. Get it at "
              "www.example.com and install it, then plug the adapter in again.");
    EXPECT_EQ(byTitle["Display resolution limited"].text,
              "Left is shown at 1280x720 while Right shares the same adapter.");
    // The texts were measured and drawn by the drawing module, loaded into an agent that
    // carries its own C++ runtime beside the shared one the module's libraries need.
    std::ifstream maps("/proc/" + std::to_string(agent->process().pid()) + "/maps");
    const std::string mapped((std::istreambuf_iterator<char>(maps)),
                             std::istreambuf_iterator<char>());
    EXPECT_NE(mapped.find("libqnpaneldrawing.so"), std::string::npos);
}

// The pid of the program runuser runs, its only child.
pid_t onlyChildOf(pid_t parent) {
    std::ifstream children("/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) +
                           "/children");
    pid_t child = 0;
    children >> child;
    return child;
}

// The agent as an unprivileged user would run it, through runuser, on a system-type bus
// under the packaged policy, with every Linux backend: an X server open to local users
// (-ac), no PipeWire it may reach (one WARN line, no audio). Its HOME decides its log:
// runuser's own (nobody's, a folder that does not exist) leaves it without a log and
// going on; a folder nobody owns gets the log folder made, private to it.
TEST_F(RealAgentE2e, AsNobodyThroughRunuserUnderThePackagedPolicy) {
    startBus(sourceDirectory() + "/packaging/com.quintor.QuintorManager.conf");
    const passwd* nobody = getpwnam("nobody");
    ASSERT_NE(nobody, nullptr) << "no user nobody on this machine";
    const uid_t uid = nobody->pw_uid;
    const gid_t gid = nobody->pw_gid;
    addSession(true, uid, "nobody");
    ASSERT_NO_FATAL_FAILURE(startX(XServer::Kind::Xvfb, {"-ac"}));
    const auto displays = randrDisplays(x->display());
    ASSERT_EQ(displays.size(), 1u);
    ASSERT_NO_FATAL_FAILURE(startManager());

    // Reports its display, ends on SIGTERM with the Manager told; runuser passes the
    // agent's status on.
    const auto runToTheEnd = [&](const std::function<void()>& beforeTheEnd) {
        const auto reports = expectStartUp(1);
        ASSERT_EQ(reports.size(), 1u);
        expectReport(reports.begin()->second, displays.begin()->second, kAdd);
        const pid_t agentPid = onlyChildOf(agent->process().pid());
        ASSERT_GT(agentPid, 0);
        struct stat process {};
        ASSERT_EQ(stat(("/proc/" + std::to_string(agentPid)).c_str(), &process), 0);
        EXPECT_EQ(process.st_uid, uid) << "the agent does not run as nobody";
        beforeTheEnd();
        ASSERT_EQ(kill(agentPid, SIGTERM), 0);
        EXPECT_TRUE(manager->nextCall("closing"));
        EXPECT_EQ(agentStatus(), 0);
    };
    {
        SCOPED_TRACE("runuser's HOME, which nobody cannot write");
        startAgent({}, {"/usr/sbin/runuser", "-u", "nobody", "--"}, "unused-home");
        ASSERT_NO_FATAL_FAILURE(runToTheEnd([] {}));
        EXPECT_TRUE(std::filesystem::is_empty(scratch.file("unused-home")))
            << "the agent did not run with runuser's HOME";
    }
    {
        SCOPED_TRACE("a HOME nobody owns");
        const std::string home = scratch.file("nobody-home");
        ASSERT_EQ(mkdir(home.c_str(), 0755), 0);
        ASSERT_EQ(chown(home.c_str(), uid, gid), 0);
        startAgent({}, {"/usr/sbin/runuser", "-p", "-u", "nobody", "--"}, "nobody-home");
        // PipeWire is tried on the audio thread: its verdict may come after the report.
        ASSERT_NO_FATAL_FAILURE(runToTheEnd([&] { EXPECT_TRUE(agent->waitForLog("No audio:")); }));
        const std::string logFolder = home + "/.local/state/quintor";
        struct stat folder {};
        ASSERT_EQ(stat(logFolder.c_str(), &folder), 0) << "no log folder";
        EXPECT_EQ(folder.st_uid, uid);
        EXPECT_EQ(folder.st_mode & 0777, 0700u);
        EXPECT_EQ(agent->countInLog("No audio:"), 1);
        EXPECT_EQ(agent->countInLog("Got signal 15 - will forward to QNM"), 1);
    }
}

}  // namespace
}  // namespace qn::tests::e2e
