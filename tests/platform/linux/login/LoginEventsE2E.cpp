// logind's announcements from its stand-in, delivered as workspace notifications.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/AppKit.h"
#include "platform/linux/login/LoginEvents.h"
#include "platform/linux/login/LoginSession.h"
#include "tests/platform/linux/login/RecordingCenter.h"
#include "tests/support/linux/LogindStandIn.h"

namespace qn::platform::linux_host::login {
namespace {

using qn::testing::linux_host::BusConnection;
using qn::testing::linux_host::LogindStandIn;
using qn::testing::linux_host::PrivateBus;
using qn::testing::linux_host::processUntil;
using testing::RecordingCenter;
using Names = std::vector<std::string>;

// The stand-in notices a dropped lock on its own time (a descriptor watch of its main
// loop), so its count is awaited; the deadline only ends a broken test.
bool awaitLocks(LogindStandIn& logind, std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (logind.inhibitors().size() != count) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

class LoginEventsE2E : public ::testing::Test {
  protected:
    LoginEventsE2E() {
        m_sessionPath = m_logind.addSession("2", 1000, "alice", true);
        m_logind.answerSessionByPid(m_sessionPath);
    }

    // Processes the agent's connection until `count` notifications have been posted.
    void awaitPosted(std::size_t count) {
        ASSERT_TRUE(processUntil(m_agentBus.get(), [&] { return m_center.posted.size() >= count; }))
            << "posted so far: " << m_center.posted.size();
    }

    // The events watch without waiting; a test's announcements must come once they listen.
    void awaitListening(const LoginEvents& events) {
        ASSERT_TRUE(processUntil(m_agentBus.get(), [&] { return events.listening(); }));
    }

    std::size_t inhibitCalls() {
        const auto calls = m_logind.managerCalls();
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), "Inhibit"));
    }

    PrivateBus m_bus;
    LogindStandIn m_logind{m_bus};
    BusConnection m_agentBus = m_bus.connect();
    LoginSession m_session{m_agentBus.get(), ::getpid()};
    RecordingCenter m_center;
    std::string m_sessionPath;
};

TEST_F(LoginEventsE2E, SleepIsReportedUnderTheLockAndWakeTakesItAgain) {
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    events.holdSleepLock();
    // The start waits for nothing: the lock is held once logind's answer is processed.
    EXPECT_FALSE(events.holdsSleepLock());
    EXPECT_FALSE(events.listening());
    ASSERT_TRUE(processUntil(m_agentBus.get(), [&] { return events.holdsSleepLock(); }));
    awaitListening(events);
    ASSERT_TRUE(events.watching());
    auto held = m_logind.inhibitors();
    ASSERT_EQ(1u, held.size());
    EXPECT_EQ("sleep", held[0].what);
    EXPECT_EQ("delay", held[0].mode);
    EXPECT_EQ("QuintorUserAgent", held[0].who);

    bool heldDuringReport = false;
    m_center.onPost = [&](const std::string& name) {
        if (name == NSWorkspaceWillSleepNotification) {
            heldDuringReport = events.holdsSleepLock();
        }
    };
    m_logind.emitPrepareForSleep(true);
    awaitPosted(1);
    EXPECT_TRUE(heldDuringReport) << "logind must still wait while the report is made";
    EXPECT_FALSE(events.holdsSleepLock());
    EXPECT_TRUE(awaitLocks(m_logind, 0)) << "the machine may sleep once reported";

    m_logind.emitPrepareForSleep(false);
    awaitPosted(2);
    EXPECT_EQ((Names{NSWorkspaceWillSleepNotification, NSWorkspaceDidWakeNotification}),
              m_center.posted);
    EXPECT_TRUE(events.holdsSleepLock());
    EXPECT_TRUE(awaitLocks(m_logind, 1));
    EXPECT_EQ(2u, inhibitCalls());
}

TEST_F(LoginEventsE2E, AnswersThatWaitedBeyondTheBusTimeoutStillCount) {
    // The agent's thread may be blocked in another call for longer than the library's
    // call timeout before its loop first reads the answers to what the start asked.
    ASSERT_GE(sd_bus_set_method_call_timeout(m_agentBus.get(), 50'000), 0);
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    // A call to a peer that never answers: while it waits, the library reads the start's
    // answers into its queue, where they wait past their deadline.
    BusConnection silent = m_bus.connect();
    const char* silentName = nullptr;
    ASSERT_GE(sd_bus_get_unique_name(silent.get(), &silentName), 0);
    sd_bus_message* reply = nullptr;
    EXPECT_LT(sd_bus_call_method(m_agentBus.get(), silentName, "/", "org.example.Silent", "Wait",
                                 nullptr, &reply, ""),
              0);
    sd_bus_message_unref(reply);
    events.holdSleepLock();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_NO_FATAL_FAILURE(awaitListening(events));
    EXPECT_TRUE(events.watching());
    ASSERT_TRUE(processUntil(m_agentBus.get(), [&] { return events.holdsSleepLock(); }));
    m_logind.emitPrepareForSleep(true);
    awaitPosted(1);
    EXPECT_EQ(Names{NSWorkspaceWillSleepNotification}, m_center.posted);
}

TEST_F(LoginEventsE2E, NoLockIsAskedForWhileASleepIsUnderWay) {
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    ASSERT_NO_FATAL_FAILURE(awaitListening(events));
    m_logind.emitPrepareForSleep(true);
    awaitPosted(1);
    events.holdSleepLock();
    // A call answered by the stand-in after anything this connection sent before it.
    m_session.copyCurrentDictionary();
    EXPECT_EQ(0u, inhibitCalls()) << "a lock now would only hold the sleep up";
    m_logind.emitPrepareForSleep(false);
    awaitPosted(2);
    EXPECT_TRUE(events.holdsSleepLock());
    EXPECT_EQ(1u, inhibitCalls());
}

TEST_F(LoginEventsE2E, OnlyAShutdownThatStartsIsAPowerOff) {
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    ASSERT_NO_FATAL_FAILURE(awaitListening(events));
    // A cancelled shutdown first: had it been reported, it would come first.
    m_logind.emitPrepareForShutdown(false);
    m_logind.emitPrepareForShutdown(true);
    awaitPosted(1);
    m_logind.emitPrepareForSleep(true);
    awaitPosted(2);
    EXPECT_EQ((Names{NSWorkspaceWillPowerOffNotification, NSWorkspaceWillSleepNotification}),
              m_center.posted);
}

TEST_F(LoginEventsE2E, TheSessionsActiveChangesAreLogoutAndLogin) {
    const std::string other = m_logind.addSession("3", 1001, "bob", false);
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    ASSERT_NO_FATAL_FAILURE(awaitListening(events));
    // The agent has read its session (it does while it waits for the active user).
    ASSERT_TRUE(m_session.copyCurrentDictionary().get("kCGSSessionOnConsoleKey").boolValue());

    m_logind.setSessionActive(m_sessionPath, true);  // no change: nothing
    m_logind.setSessionActive(other, true);          // another session: nothing
    m_logind.setSessionActive(m_sessionPath, false);
    awaitPosted(1);
    m_logind.setSessionActive(m_sessionPath, true);
    awaitPosted(2);
    m_logind.setSessionClass(m_sessionPath, "user");  // another property: nothing
    m_logind.setSessionActive(m_sessionPath, false);
    awaitPosted(3);
    EXPECT_EQ((Names{NSWorkspaceSessionDidResignActiveNotification,
                     NSWorkspaceSessionDidBecomeActiveNotification,
                     NSWorkspaceSessionDidResignActiveNotification}),
              m_center.posted);
}

TEST_F(LoginEventsE2E, AnActiveSentWithoutItsValueIsReadBack) {
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    ASSERT_NO_FATAL_FAILURE(awaitListening(events));
    m_session.copyCurrentDictionary();
    // The property stays true throughout; only the announcements differ.
    m_logind.emitActiveChanged(m_sessionPath, false);
    awaitPosted(1);
    m_logind.emitActiveChanged(m_sessionPath, std::nullopt);
    awaitPosted(2);
    EXPECT_EQ((Names{NSWorkspaceSessionDidResignActiveNotification,
                     NSWorkspaceSessionDidBecomeActiveNotification}),
              m_center.posted);
}

TEST_F(LoginEventsE2E, SignalsFromAnotherSenderAreIgnored) {
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    ASSERT_NO_FATAL_FAILURE(awaitListening(events));
    m_session.copyCurrentDictionary();

    // A broader match on the same connection, as the Manager link has: the impostor's
    // signals then reach the connection and only the callback's sender test stops them.
    int reachedConnection = 0;
    sd_bus_slot* broad = nullptr;
    ASSERT_GE(
        sd_bus_add_match(
            m_agentBus.get(), &broad, "type='signal',path_namespace='/org/freedesktop/login1'",
            [](sd_bus_message*, void* count, sd_bus_error*) {
                ++*static_cast<int*>(count);
                return 0;
            },
            &reachedConnection),
        0);

    BusConnection impostor = m_bus.connect();
    ASSERT_GE(sd_bus_emit_signal(impostor.get(), "/org/freedesktop/login1",
                                 "org.freedesktop.login1.Manager", "PrepareForSleep", "b", 1),
              0);
    ASSERT_GE(sd_bus_emit_signal(impostor.get(), "/org/freedesktop/login1",
                                 "org.freedesktop.login1.Manager", "PrepareForShutdown", "b", 1),
              0);
    ASSERT_GE(sd_bus_emit_signal(impostor.get(), m_sessionPath.c_str(),
                                 "org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as",
                                 "org.freedesktop.login1.Session", 1, "Active", "b", 0, 0),
              0);
    // A round trip through the daemon: once it returns, the signals above are routed and
    // sit ahead of anything logind sends next.
    sd_bus_message* reply = nullptr;
    ASSERT_GE(sd_bus_call_method(impostor.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus.Peer", "Ping", nullptr, &reply, ""),
              0);
    sd_bus_message_unref(reply);

    m_logind.emitPrepareForSleep(false);
    awaitPosted(1);
    EXPECT_EQ(Names{NSWorkspaceDidWakeNotification}, m_center.posted);
    EXPECT_GE(reachedConnection, 4);
    EXPECT_TRUE(events.holdsSleepLock());
    EXPECT_EQ(1u, m_logind.inhibitors().size());
    sd_bus_slot_unref(broad);
}

TEST_F(LoginEventsE2E, ANewLogindIsHeardAndGrantsANewLock) {
    LoginEvents events(m_agentBus.get(), m_session, m_center);
    ASSERT_NO_FATAL_FAILURE(awaitListening(events));
    const std::string firstOwner = m_logind.uniqueName();
    m_logind.stop();

    LogindStandIn second(m_bus);
    ASSERT_NE(firstOwner, second.uniqueName());
    // The new logind's lock comes with its owner change, once the agent's side sees it.
    ASSERT_TRUE(processUntil(m_agentBus.get(), [&] { return second.inhibitors().size() == 1; }));
    second.emitPrepareForSleep(true);
    awaitPosted(1);
    EXPECT_EQ(Names{NSWorkspaceWillSleepNotification}, m_center.posted);
    EXPECT_TRUE(awaitLocks(second, 0));
}

}  // namespace
}  // namespace qn::platform::linux_host::login
