// The session facts read from logind's stand-in on a private system bus.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "platform/Quartz.h"
#include "platform/linux/login/LoginSession.h"
#include "tests/support/linux/LogindStandIn.h"

namespace qn::platform::linux_host::login {
namespace {

using qn::testing::linux_host::BusConnection;
using qn::testing::linux_host::LogindStandIn;
using qn::testing::linux_host::PrivateBus;

class LoginSessionE2E : public ::testing::Test {
  protected:
    PrivateBus m_bus;
    LogindStandIn m_logind{m_bus};
    BusConnection m_agentBus = m_bus.connect();
    LoginSession m_session{m_agentBus.get(), ::getpid()};
};

TEST_F(LoginSessionE2E, ActiveUserSessionIsOnConsoleLoggedInAndNumbered) {
    const std::string path = m_logind.addSession("2", 1000, "alice", true);
    m_logind.answerSessionByPid(path);

    Value dictionary = m_session.copyCurrentDictionary();
    ASSERT_TRUE(dictionary.isDictionary());
    EXPECT_TRUE(dictionary.get(kCGSSessionOnConsoleKey).isSameObject(kCFBooleanTrue()));
    EXPECT_TRUE(dictionary.get(kCGSessionLoginDoneKey).isSameObject(kCFBooleanTrue()));
    EXPECT_EQ(1000, dictionary.get(kCGSessionUserIDKey).longLongValue());
    EXPECT_EQ("alice", dictionary.get(kCGSessionUserNameKey).stringValue());

    SecuritySessionId id = 0;
    SessionAttributeBits attributes = 0xFFFF;
    ASSERT_EQ(errSessionSuccess, m_session.sessionGetInfo(callerSecuritySession, &id, &attributes));
    EXPECT_EQ(2u, id);
    EXPECT_EQ(0u, attributes) << "the template's sessions have Type \"test\"";
    EXPECT_EQ(errSessionSuccess, m_session.sessionGetInfo(2, &id, &attributes));
    EXPECT_EQ(errSessionInvalidId, m_session.sessionGetInfo(3, &id, &attributes));

    // Asked afresh each time: the agent's one-second wait sees the change.
    m_logind.setSessionActive(path, false);
    dictionary = m_session.copyCurrentDictionary();
    EXPECT_TRUE(dictionary.get(kCGSSessionOnConsoleKey).isSameObject(kCFBooleanFalse()));

    // The process's own session is looked up once; its properties on every question.
    const auto calls = m_logind.managerCalls();
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(), "GetSessionByPID"));
}

TEST_F(LoginSessionE2E, GreeterSessionHasNotLoggedIn) {
    const std::string path = m_logind.addSession("c1", 110, "lightdm", true);
    m_logind.setSessionClass(path, "greeter");
    m_logind.answerSessionByPid(path);

    const Value dictionary = m_session.copyCurrentDictionary();
    EXPECT_TRUE(dictionary.get(kCGSSessionOnConsoleKey).isSameObject(kCFBooleanTrue()));
    EXPECT_TRUE(dictionary.get(kCGSessionLoginDoneKey).isSameObject(kCFBooleanFalse()));

    SecuritySessionId id = 0;
    SessionAttributeBits attributes = 0;
    ASSERT_EQ(errSessionSuccess, m_session.sessionGetInfo(callerSecuritySession, &id, &attributes));
    EXPECT_EQ(0x80000001u, id);
}

TEST_F(LoginSessionE2E, OutsideAnySessionTheUsersDisplaySessionCounts) {
    m_logind.addSession("5", 1000, "alice", false);
    const std::string display = m_logind.addSession("7", 1000, "alice", true);
    m_logind.answerNoSessionForPid();
    m_logind.answerUserByPid(1000);
    m_logind.setUserDisplay(1000, "7", display);

    const Value dictionary = m_session.copyCurrentDictionary();
    ASSERT_TRUE(dictionary.isDictionary());
    EXPECT_TRUE(dictionary.get(kCGSSessionOnConsoleKey).boolValue());
    SecuritySessionId id = 0;
    SessionAttributeBits attributes = 0;
    ASSERT_EQ(errSessionSuccess, m_session.sessionGetInfo(callerSecuritySession, &id, &attributes));
    EXPECT_EQ(7u, id);
    EXPECT_EQ(display, m_session.lastSessionPath());

    const auto calls = m_logind.managerCalls();
    const auto bySession = std::find(calls.begin(), calls.end(), "GetSessionByPID");
    const auto byUser = std::find(calls.begin(), calls.end(), "GetUserByPID");
    EXPECT_TRUE(bySession != calls.end() && byUser != calls.end() && bySession < byUser);

    // The user's display session can change between questions, so it is asked again.
    const std::string next = m_logind.addSession("8", 1000, "alice", true);
    m_logind.setUserDisplay(1000, "8", next);
    ASSERT_EQ(errSessionSuccess, m_session.sessionGetInfo(callerSecuritySession, &id, &attributes));
    EXPECT_EQ(8u, id);
}

TEST_F(LoginSessionE2E, NoSessionFoundGivesNoDictionaryAndNoId) {
    auto expectNone = [&](const char* why) {
        EXPECT_TRUE(m_session.copyCurrentDictionary().isNull()) << why;
        SecuritySessionId id = 99;
        SessionAttributeBits attributes = 99;
        EXPECT_EQ(errSessionInvalidId,
                  m_session.sessionGetInfo(callerSecuritySession, &id, &attributes))
            << why;
        EXPECT_EQ(99u, id) << why;
    };
    // The template alone knows no GetSessionByPID.
    expectNone("method unknown");

    // A user with sessions but no display session (Display is the root path).
    m_logind.addSession("4", 1000, "alice", false);
    m_logind.answerNoSessionForPid();
    m_logind.answerUserByPid(1000);
    expectNone("user without a display session");

    // No user either.
    m_logind.answerNoSessionForPid();
    m_logind.answerUserByPid(4242);
    expectNone("no such user");

    m_logind.stop();
    expectNone("logind gone");
}

}  // namespace
}  // namespace qn::platform::linux_host::login
