#include "platform/linux/event/LinuxFoundation.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "platform/linux/event/LinuxDispatch.h"
#include "platform/linux/system/LinuxSystem.h"

namespace qn::platform::linux_host {
namespace {

class LinuxFoundationTest : public ::testing::Test {
  protected:
    // Turns the loop until `done` is true, checked after each turn (of at most 1 ms).
    template <typename Done>
    void runUntil(Done done) {
        for (int turns = 0; !done() && turns < 1000000; ++turns) {
            loop.runOnce(1000);
        }
    }

    EventLoop loop;
    MainQueue mainQueue{loop};
    LinuxFoundation foundation{loop, mainQueue};
};

TEST_F(LinuxFoundationTest, QueuedNotificationsCoalesceOnNameAndSender) {
    int a = 0, b = 0;
    const int senderA = 0, senderB = 0;
    foundation.defaultCenter().addObserver(
        this, [&](const NSNotification&) { ++a; }, "tick", &senderA);
    foundation.defaultCenter().addObserver(
        this, [&](const NSNotification&) { ++b; }, "tick", &senderB);
    auto& queue = foundation.defaultQueue();
    queue.enqueueNotification({"tick", &senderA, {}}, NSPostASAP);
    queue.enqueueNotification({"tick", &senderA, {}}, NSPostASAP);
    queue.enqueueNotification({"tick", &senderB, {}}, NSPostASAP);
    // Not before the loop turns.
    EXPECT_EQ(a + b, 0);
    int turns = 0;
    runUntil([&] { return ++turns > 3; });
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 1);

    // Posting now replaces the queued one like it.
    queue.enqueueNotification({"tick", &senderA, {}}, NSPostASAP);
    queue.enqueueNotification({"tick", &senderA, {}}, NSPostNow);
    EXPECT_EQ(a, 2);
    turns = 0;
    runUntil([&] { return ++turns > 3; });
    EXPECT_EQ(a, 2);
    foundation.defaultCenter().removeObserver(this);
}

TEST_F(LinuxFoundationTest, ObserversFilterOnNameAndObjectAndGoWhenRemoved) {
    const int sender = 0;
    std::vector<std::string> seen;
    auto& center = foundation.defaultCenter();
    center.addObserver(
        &seen, [&](const NSNotification& n) { seen.push_back("any:" + n.name); }, "", nullptr);
    center.addObserver(
        this, [&](const NSNotification& n) { seen.push_back("named:" + n.name); }, "x", &sender);
    center.postNotificationName("x", &sender);
    center.postNotificationName("x", nullptr);
    center.removeObserver(&seen);
    center.postNotificationName("x", &sender);
    EXPECT_EQ(seen, (std::vector<std::string>{"any:x", "named:x", "any:x", "named:x"}));
    center.removeObserver(this);
}

TEST_F(LinuxFoundationTest, RepeatingTimerBeatsUntilInvalidatedAndOneShotOnce) {
    int beats = 0;
    int once = 0;
    auto repeating = foundation.scheduledTimerWithTimeInterval(
        0.002,
        [&](NSTimer& timer) {
            if (++beats == 3) {
                timer.invalidate();
            }
        },
        Value(), true);
    foundation.scheduledTimerWithTimeInterval(
        0.001, [&](NSTimer&) { ++once; }, Value(), false);
    int turns = 0;
    runUntil([&] { return beats >= 3 && ++turns > 10; });
    EXPECT_EQ(beats, 3);
    EXPECT_EQ(once, 1);
    EXPECT_FALSE(repeating->isValid());
}

TEST_F(LinuxFoundationTest, SignalWakeRunsTheHandlerOnTheLoop) {
    int woken = 0;
    foundation.setSignalWakeHandler([&] { ++woken; });
    // Twice before the loop turns: one wake-up is enough for both.
    foundation.wakeMainRunLoopFromSignal();
    foundation.wakeMainRunLoopFromSignal();
    EXPECT_EQ(woken, 0);
    runUntil([&] { return woken > 0; });
    EXPECT_EQ(woken, 1);
}

TEST_F(LinuxFoundationTest, WithoutALinkNobodyIsFound) {
    EXPECT_FALSE(
        foundation.rootProxyForConnectionWithRegisteredName("com.quintor.QuintorManager", nullptr));
}

TEST_F(LinuxFoundationTest, DelayedDispatchRunsInDeadlineOrderOnTheMainThread) {
    LinuxDispatch dispatch(loop, mainQueue);
    auto* queue = dispatch.dispatch_queue_create("com.quintor.reconfigurationQueue", nullptr);
    std::vector<int> order;
    const auto now = dispatch.dispatch_time(DISPATCH_TIME_NOW, 0);
    dispatch.dispatch_after(dispatch.dispatch_time(now, 4000000), queue,
                            [&] { order.push_back(2); });
    dispatch.dispatch_after(dispatch.dispatch_time(now, 2000000), queue,
                            [&] { order.push_back(1); });
    dispatch.dispatch_async(dispatch.dispatch_get_main_queue(), [&] { order.push_back(0); });
    int context = 3;
    dispatch.dispatch_after_f(dispatch.dispatch_time(now, 6000000),
                              dispatch.dispatch_get_main_queue(), &context,
                              [](void* c) { *static_cast<int*>(c) = 30; });
    runUntil([&] { return context == 30; });
    // The asynchronous block is not ordered against timers that fell due while the test
    // was descheduled; the delayed ones keep their deadlines' order.
    ASSERT_EQ(order.size(), 3u);
    std::erase(order, 0);
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(dispatch.queueCount(), 1u);
    dispatch.dispatch_release(queue);
    EXPECT_EQ(dispatch.queueCount(), 0u);
}

TEST(LinuxSystem, ProcessFactsAreThisProcesss) {
    LinuxSystem system;
    ProcessSerialNumber psn;
    ASSERT_EQ(system.GetCurrentProcess(&psn), noErrOSErr);
    pid_t pid = 0;
    ASSERT_EQ(system.GetProcessPID(&psn, &pid), 0);
    EXPECT_EQ(pid, getpid());

    // The fixed release, not the kernel's: the agent's display road depends on it.
    std::size_t size = 0;
    ASSERT_EQ(system.sysctlbyname("kern.osrelease", nullptr, &size, nullptr, 0), 0);
    std::string release(size, '\0');
    ASSERT_EQ(system.sysctlbyname("kern.osrelease", release.data(), &size, nullptr, 0), 0);
    EXPECT_STREQ(release.c_str(), "13.0.0");
    std::size_t tooSmall = 2;
    char small[2];
    EXPECT_EQ(system.sysctlbyname("kern.osrelease", small, &tooSmall, nullptr, 0), -1);
    EXPECT_EQ(system.sysctlbyname("kern.other", release.data(), &size, nullptr, 0), -1);
}

TEST(LinuxSystem, SessionIdComesFromItsSourceOrFails) {
    LinuxSystem system;
    SecuritySessionId id = 99;
    SessionAttributeBits bits = 0;
    EXPECT_EQ(system.SessionGetInfo(callerSecuritySession, &id, &bits), errSessionInvalidId);
    EXPECT_EQ(id, 99u);
    system.setSessionIdSource([] { return std::optional<SecuritySessionId>(0x80000002u); });
    EXPECT_EQ(system.SessionGetInfo(callerSecuritySession, &id, &bits), errSessionSuccess);
    EXPECT_EQ(id, 0x80000002u);
    system.setSessionIdSource([] { return std::optional<SecuritySessionId>(); });
    EXPECT_EQ(system.SessionGetInfo(callerSecuritySession, &id, &bits), errSessionInvalidId);

    // The login manager's answer passes through whole, attribute bits included.
    system.setSessionInfoSource(
        [](SecuritySessionId session, SecuritySessionId* out, SessionAttributeBits* attrs) {
            if (session != callerSecuritySession) {
                return errSessionInvalidId;
            }
            *out = 7;
            *attrs = 0x20;
            return errSessionSuccess;
        });
    EXPECT_EQ(system.SessionGetInfo(callerSecuritySession, &id, &bits), errSessionSuccess);
    EXPECT_EQ(id, 7u);
    EXPECT_EQ(bits, 0x20u);
    EXPECT_EQ(system.SessionGetInfo(1234, &id, &bits), errSessionInvalidId);
}

void noteSignal(int) {}

TEST(LinuxSystem, SignalGivesThePreviousHandler) {
    LinuxSystem system;
    const SignalHandler before = system.signal(SIGUSR2, &noteSignal);
    ASSERT_NE(before, SIG_ERR);
    EXPECT_EQ(system.signal(SIGUSR2, before), &noteSignal);
    EXPECT_EQ(system.signal(SIGKILL, &noteSignal), SIG_ERR);
}

}  // namespace
}  // namespace qn::platform::linux_host
