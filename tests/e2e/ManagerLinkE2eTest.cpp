// The agent's link to the Manager, end to end: the agent's own main as a process on the
// Linux host, a private dbus-daemon and the Manager stand-in, all started and reaped by
// each test. The stand-in's transcript shows what the Manager heard.

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "tests/e2e/support/AgentUnderTest.h"
#include "tests/e2e/support/TestServers.h"
#include "tools/transcript/JsonNesting.h"

namespace qn::tests::e2e {
namespace {

const bool kProgramsKnown = [] {
    setenv("QN_TEST_SOURCE_DIR", QN_E2E_SOURCE_DIR, 0);
    setenv("QN_QNMANAGER", QN_E2E_QNMANAGER, 0);
    setenv("QN_E2E_AGENT", QN_E2E_AGENT_PROGRAM, 0);
    return true;
}();

using nlohmann::json;

constexpr const char* kStarted = "started:withSessionType:";
constexpr const char* kOnDisplay =
    "onDisplay:reconfigurationWithFlags:andBounds:andFramebufferIndex:andRefreshRate:";
constexpr const char* kRefreshed = "onRectRefreshed:onDisplayID:";
// The fixed facts of the test agent: its one display, added (16), no adapter.
const json kDisplayReport =
    json::array({0x2B1F0A10, 16, json::array({0, 0, 1920, 1080}), 0xFFFFFFFFu, 60.0});

bool isCall(const json& line) {
    return line.contains("call");
}

// The link waits 5 s between attempts, and from a failed call to its attempt. A timer
// never fires early, so a gap under 4.5 s (log stamps are milliseconds) is an attempt made
// too soon. No upper bound: the machine may be loaded.
constexpr double kAtLeastApart = 4.5;

// The gap from `from` to `to` is at least the link's wait; printed for a reader.
void expectWaited(double from, double to, const std::string& what) {
    std::cout << what << ": " << to - from << " s\n";
    EXPECT_GE(to - from, kAtLeastApart) << what;
}
// Each gap between consecutive attempts is at least the link's wait.
void expectSpacedAttempts(const std::vector<double>& times) {
    for (std::size_t i = 1; i < times.size(); ++i) {
        expectWaited(times[i - 1], times[i],
                     "attempt " + std::to_string(i) + " to attempt " + std::to_string(i + 1));
    }
}
// The first time in `times` after `after`; fails the test when there is none.
double firstAfter(const std::vector<double>& times, double after, const std::string& what) {
    for (const double t : times) {
        if (t > after) {
            return t;
        }
    }
    ADD_FAILURE() << "no " << what << " after " << after << " s";
    return after;
}

std::string fileText(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class ManagerLinkE2e : public ::testing::Test {
  protected:
    void SetUp() override {
        bus = std::make_unique<DbusDaemon>(scratch, DbusDaemon::Kind::Session);
    }

    std::unique_ptr<AgentUnderTest> startAgent(std::vector<std::string> environment = {},
                                               const std::string& user = "") {
        return std::make_unique<AgentUnderTest>(
            AgentUnderTest::Options{.busAddress = bus->address(),
                                    .home = scratch.file("home"),
                                    .environment = std::move(environment),
                                    .user = user});
    }
    std::unique_ptr<ManagerStandIn> startStandIn(std::vector<std::string> arguments = {}) {
        auto standIn = std::make_unique<ManagerStandIn>(bus->address(), std::move(arguments));
        const auto first = standIn->next();
        EXPECT_TRUE(first && first->value("manager", "") == "registered");
        return standIn;
    }
    // started:withSessionType: as the first call, then the one display reported twice.
    static void expectStartMessages(ManagerStandIn& standIn, int reports) {
        std::vector<json> before;
        const auto started = standIn.nextCall(kStarted, &before);
        ASSERT_TRUE(started) << "no start message";
        for (const auto& line : before) {
            EXPECT_FALSE(isCall(line)) << "a call before the start message: " << line;
        }
        EXPECT_EQ((*started)["args"], json::array({4242, 0}));
        for (int i = 0; i < reports; ++i) {
            const auto report = standIn.next();
            ASSERT_TRUE(report);
            EXPECT_EQ(report->value("call", ""), kOnDisplay) << *report;
            EXPECT_EQ((*report)["args"], kDisplayReport) << *report;
        }
    }
    static int exitStatus(AgentUnderTest& agent) {
        return ChildProcess::exitCode(agent.process().wait());
    }

    ScratchDirectory scratch;
    std::unique_ptr<DbusDaemon> bus;
};

TEST_F(ManagerLinkE2e, StartUpMessagesThenSigtermDeliversClosing) {
    auto standIn = startStandIn();
    auto agent = startAgent();
    expectStartMessages(*standIn, 2);
    agent->process().signal(SIGTERM);
    std::vector<json> before;
    const auto closing = standIn->nextCall("closing", &before);
    ASSERT_TRUE(closing);
    EXPECT_EQ((*closing)["args"], json::array());
    for (const auto& line : before) {
        EXPECT_FALSE(isCall(line)) << line;
    }
    EXPECT_EQ(exitStatus(*agent), 0);
    EXPECT_EQ(agent->countInLog("Got signal 15 - will forward to QNM"), 1);
}

TEST_F(ManagerLinkE2e, SigtermWhileWaitingForTheManagerExitsWithoutIt) {
    auto agent = startAgent();
    // A second attempt means the first found nobody: the agent is in its wait.
    ASSERT_TRUE(agent->waitForLog("NotificationCommunicator init", 2));
    agent->process().signal(SIGTERM);
    EXPECT_EQ(exitStatus(*agent), 0);
    EXPECT_EQ(agent->countInLog("Not connected with QNM. Signal 15 will not be forwarded."), 1);
}

TEST_F(ManagerLinkE2e, KilledManagerIsSoughtUntilBackButOnlyTheFirstDeathIsHeard) {
    auto first = startStandIn();
    auto agent = startAgent();
    expectStartMessages(*first, 2);

    // The first proxy's death is heard at once; then an attempt every 5 seconds.
    first->process().signal(SIGKILL);
    first->process().wait();
    ASSERT_TRUE(agent->waitForLog("Connection died", 2));
    auto second = startStandIn();
    // After a reconnection the displays are reported once more.
    expectStartMessages(*second, 1);

    // The death registration watches the first proxy only: this death goes unheard.
    const int attempts = agent->countInLog("Connection died");
    second->process().signal(SIGKILL);
    second->process().wait();
    auto third = startStandIn();
    EXPECT_FALSE(third->process().readLine(std::chrono::seconds(7)))
        << "the agent came back without a failed call";
    EXPECT_EQ(agent->countInLog("Connection died"), attempts);
    if (::testing::Test::HasFailure()) {
        for (const auto& m : agent->logMessages())
            std::cerr << m << "\n";
    }

    // A forwarding call on the old proxy fails; the attempt comes 5 seconds later.
    ASSERT_TRUE(agent->command("refresh 0 0 10 10"));
    std::vector<json> before;
    ASSERT_TRUE(third->nextCall(kStarted, &before));
    for (const auto& line : before) {
        EXPECT_FALSE(isCall(line)) << "reached the new Manager on the old proxy: " << line;
    }
    EXPECT_EQ(agent->countInLog("Connection died"), attempts + 1);

    // The spacing, from the agent's own log stamps: the attempts after the first death
    // (the last of them found the second stand-in), then the failed call and its attempt.
    const std::vector<double> attemptTimes = agent->logTimes("Connection died");
    ASSERT_EQ(attemptTimes.size(), static_cast<std::size_t>(attempts + 1)) << agent->logText();
    expectSpacedAttempts(
        std::vector<double>(attemptTimes.begin(), attemptTimes.begin() + attempts));
    const double failed =
        firstAfter(agent->logTimes("Exception: "), attemptTimes[attempts - 1], "failed call");
    expectWaited(failed, attemptTimes[attempts], "failed call to its attempt");
}

TEST_F(ManagerLinkE2e, RefusedCallEndsInReconnection) {
    // The rule stands before the agent calls (a command on stdin could come too late).
    auto standIn = startStandIn({"--refuse", "onRectRefreshed:onDisplayID:=Manager is busy"});
    auto agent = startAgent();
    expectStartMessages(*standIn, 2);
    ASSERT_TRUE(agent->command("refresh 0 0 10 10"));
    const auto refused = standIn->nextCall(kRefreshed);
    ASSERT_TRUE(refused);
    EXPECT_EQ((*refused)["args"], json::array({json::array({0, 0, 10, 10}), 0}));
    EXPECT_EQ((*refused)["raised"], "Manager is busy");
    expectStartMessages(*standIn, 1);
    EXPECT_EQ(agent->countInLog("Manager is busy"), 1);
    const auto failed = agent->logTimes("Exception: Manager is busy");
    const auto attempt = agent->logTimes("Connection died");
    ASSERT_EQ(failed.size(), 1u) << agent->logText();
    ASSERT_EQ(attempt.size(), 1u) << agent->logText();
    expectWaited(failed[0], attempt[0], "refused call to its attempt");
}

TEST_F(ManagerLinkE2e, TimedOutCallEndsInReconnection) {
    auto standIn = startStandIn({"--delay", "onRectRefreshed:onDisplayID:=3"});
    // The bus library's own setting, honoured as by every client: a short default.
    auto agent = startAgent({"SYSTEMD_BUS_TIMEOUT=1"});
    expectStartMessages(*standIn, 2);
    ASSERT_TRUE(agent->command("refresh 0 0 10 10"));
    const auto delayed = standIn->nextCall(kRefreshed);
    ASSERT_TRUE(delayed);
    EXPECT_EQ((*delayed)["delayed"], 3);
    expectStartMessages(*standIn, 1);
    EXPECT_EQ(agent->countInLog("Connection died"), 1);
    // The bus library's own reason for a call that got no reply in time.
    EXPECT_EQ(agent->countInLog("Exception: Connection timed out"), 1) << agent->logText();
    const auto failed = agent->logTimes("Exception: ");
    const auto attempt = agent->logTimes("Connection died");
    ASSERT_EQ(failed.size(), 1u) << agent->logText();
    ASSERT_EQ(attempt.size(), 1u) << agent->logText();
    expectWaited(failed[0], attempt[0], "timed-out call to its attempt");
}

TEST_F(ManagerLinkE2e, SigtermDuringACallWaitsForItsAnswerAndIsNoManagerFailure) {
    auto standIn = startStandIn({"--delay", "onRectRefreshed:onDisplayID:=1"});
    auto agent = startAgent();
    expectStartMessages(*standIn, 2);
    ASSERT_TRUE(agent->command("refresh 0 0 10 10"));
    // The stand-in writes the line on receipt and answers a second later: the agent is
    // inside the call when the signal comes.
    ASSERT_TRUE(standIn->nextCall(kRefreshed));
    agent->process().signal(SIGTERM);
    std::vector<json> before;
    ASSERT_TRUE(standIn->nextCall("closing", &before));
    for (const auto& line : before) {
        EXPECT_FALSE(isCall(line)) << "no new start after the signal: " << line;
    }
    EXPECT_EQ(exitStatus(*agent), 0);
    EXPECT_EQ(agent->countInLog("Exception: "), 0) << agent->logText();
    EXPECT_EQ(agent->countInLog("Connection died"), 0) << agent->logText();
    EXPECT_EQ(agent->countInLog("Got signal 15 - will forward to QNM"), 1);
}

TEST_F(ManagerLinkE2e, ManagerThatLeavesTheBusAndReturnsIsGreetedAnew) {
    auto standIn = startStandIn();
    auto agent = startAgent();
    expectStartMessages(*standIn, 2);

    // The stand-in closes its connection, as a Manager that stops: the name has no owner.
    ASSERT_TRUE(standIn->command("drop"));
    const auto died = standIn->next();
    ASSERT_TRUE(died);
    EXPECT_EQ(died->value("manager", ""), "died") << *died;
    // Heard as the proxy's death: the agent made no call that could have failed.
    ASSERT_TRUE(agent->waitForLog("Connection died")) << agent->logText();
    EXPECT_EQ(agent->countInLog("Exception: "), 0) << agent->logText();

    ASSERT_TRUE(standIn->command("return"));
    const auto back = standIn->next();
    ASSERT_TRUE(back);
    EXPECT_EQ(back->value("manager", ""), "registered") << *back;
    // The returned Manager hears started:withSessionType: before anything else.
    expectStartMessages(*standIn, 1);
    expectSpacedAttempts(agent->logTimes("Connection died"));
    agent->process().signal(SIGTERM);
    EXPECT_TRUE(standIn->nextCall("closing"));
    EXPECT_EQ(exitStatus(*agent), 0);
}

TEST_F(ManagerLinkE2e, PostRefusesUserInfoNestedBeyondTheLimit) {
    const auto post = [&](int levels) {
        // Objects inside objects, levels deep.
        std::string userInfo = "1";
        for (int level = 0; level < levels; ++level) {
            userInfo = "{\"k\":" + userInfo + "}";
        }
        const std::string output = scratch.file("post.out");
        ChildProcess::Options options;
        options.argv = {builtProgram("QN_QNMANAGER"),
                        "--address",
                        bus->address(),
                        "--impostor",
                        "--post",
                        "QNM_Notification_Sw_Update_Required=" + userInfo};
        options.logPath = output;
        ChildProcess impostor(options);
        const int status = ChildProcess::exitCode(impostor.wait());
        return std::make_pair(status, fileText(output));
    };
    const auto [deepStatus, deepOutput] = post(tools::transcript::kMaxJsonNesting + 1);
    EXPECT_NE(deepStatus, 0);
    EXPECT_NE(
        deepOutput.find("qnmanager: userInfo nested deeper than " +
                        std::to_string(tools::transcript::kMaxJsonNesting) + " levels: post "),
        std::string::npos)
        << deepOutput;
    // At the limit itself the text passes (the bus's own container limit may still refuse
    // so deep a message; that is another refusal).
    const std::string limitOutput = post(tools::transcript::kMaxJsonNesting).second;
    EXPECT_EQ(limitOutput.find("nested deeper"), std::string::npos) << limitOutput;
}

TEST(ManagerLinkBusLossE2e, LostBusIsTheDeathAndTheLinkComesBackWithTheBus) {
    ScratchDirectory scratch;
    auto bus = std::make_unique<DbusDaemon>(scratch, DbusDaemon::Kind::Session, "bus");
    auto standIn = std::make_unique<ManagerStandIn>(bus->address());
    ASSERT_EQ(standIn->next().value_or(json())["manager"], "registered");
    // Without the daemon's guid, as a system bus address is: a restarted daemon has
    // another, and a client that was told one refuses any other.
    const std::string address = bus->address().substr(0, bus->address().find(",guid="));
    AgentUnderTest agent({address, scratch.file("home"), {}, ""});
    ASSERT_TRUE(standIn->nextCall(kStarted));
    ASSERT_TRUE(standIn->nextCall(kOnDisplay));
    ASSERT_TRUE(standIn->nextCall(kOnDisplay));

    // The daemon goes, and with it the agent's connection: the first proxy's death.
    standIn.reset();
    bus.reset();
    ASSERT_TRUE(agent.waitForLog("Connection died", 2)) << agent.logText();

    // The same address again, and a Manager on it: the link opens a new connection.
    bus = std::make_unique<DbusDaemon>(scratch, DbusDaemon::Kind::Session, "bus");
    ASSERT_EQ(bus->address().rfind(address, 0), 0u);
    standIn = std::make_unique<ManagerStandIn>(bus->address());
    std::vector<json> before;
    const auto started = standIn->nextCall(kStarted, &before);
    ASSERT_TRUE(started) << agent.logText();
    EXPECT_EQ((*started)["args"], json::array({4242, 0}));
    agent.process().signal(SIGTERM);
    EXPECT_TRUE(standIn->nextCall("closing"));
    EXPECT_EQ(ChildProcess::exitCode(agent.process().wait()), 0);
}

TEST(ManagerLinkSystemBusE2e, UnprivilegedAgentUnderThePackagedPolicy) {
    // Dropping to nobody and giving the daemon its packaged policy take root.
    ASSERT_EQ(geteuid(), 0u) << "this test must run as root: it starts processes as nobody";
    ScratchDirectory scratch;
    DbusDaemon bus(scratch, DbusDaemon::Kind::SystemWithPolicy);

    // Only root may own the Manager's name. (Should it get the name, its script ends it
    // with status 0 and the test fails rather than hangs.)
    const std::string quit = scratch.file("quit.script");
    std::ofstream(quit) << "0 quit\n";
    ChildProcess::Options intruderOptions;
    intruderOptions.argv = {
        "/usr/bin/setpriv",           "--reuid=nobody", "--regid=nogroup", "--clear-groups", "--",
        builtProgram("QN_QNMANAGER"), "--address",      bus.address(),     "--script",       quit};
    // Status 1 is also what no bus at all gives: the refusal is told by its text.
    intruderOptions.logPath = scratch.file("intruder.out");
    ChildProcess intruder(intruderOptions);
    EXPECT_EQ(ChildProcess::exitCode(intruder.wait()), 1);
    const std::string refusal = fileText(intruderOptions.logPath);
    EXPECT_NE(refusal.find("qnmanager: cannot own com.quintor.QuintorManager: Permission denied"),
              std::string::npos)
        << refusal;

    ManagerStandIn standIn(bus.address());
    ASSERT_EQ(standIn.next().value_or(json())["manager"], "registered");
    AgentUnderTest agent(
        {.busAddress = bus.address(), .home = scratch.file("home"), .user = "nobody"});
    std::vector<json> before;
    const auto started = standIn.nextCall(kStarted, &before);
    ASSERT_TRUE(started);
    EXPECT_EQ((*started)["args"], json::array({4242, 0}));
    const auto report = standIn.nextCall(kOnDisplay);
    ASSERT_TRUE(report);
    EXPECT_EQ((*report)["args"], kDisplayReport);
    // The Manager's broadcast reaches the unprivileged agent.
    ASSERT_TRUE(standIn.command(
        "post QNM_Notification_Sw_Update_Required {\"QNM_Notification_Devicekey\":\"2\"}"));
    ASSERT_TRUE(agent.waitForLog("received QNM_Notification_Sw_Update_Required notification"));
    agent.process().signal(SIGTERM);
    ASSERT_TRUE(standIn.nextCall("closing"));
    EXPECT_EQ(ChildProcess::exitCode(agent.process().wait()), 0);
}

}  // namespace
}  // namespace qn::tests::e2e
