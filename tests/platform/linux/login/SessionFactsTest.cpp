// The pure translations of logind's session facts.
#include <gtest/gtest.h>

#include "platform/Quartz.h"
#include "platform/linux/login/SessionId.h"
#include "platform/linux/login/SessionRecord.h"

namespace qn::platform::linux_host::login {
namespace {

TEST(SessionIdTest, LoginSessionsKeepTheirNumber) {
    EXPECT_EQ(1u, securitySessionIdFromLogindId("1"));
    EXPECT_EQ(42u, securitySessionIdFromLogindId("42"));
    EXPECT_EQ(0u, securitySessionIdFromLogindId("0"));
    EXPECT_EQ(0xFFFFFFFFu, securitySessionIdFromLogindId("4294967295"));
}

TEST(SessionIdTest, SessionsLogindMadeGetTheHighBit) {
    EXPECT_EQ(0x80000001u, securitySessionIdFromLogindId("c1"));
    EXPECT_EQ(0x80000000u, securitySessionIdFromLogindId("c0"));
    EXPECT_EQ(0xFFFFFFFFu, securitySessionIdFromLogindId("c2147483647"));
}

TEST(SessionIdTest, AnythingElseIsZero) {
    for (const char* id : {"", "c", "c-1", "cc1", "C1", "1c", " 1", "1 ", "-1", "+1", "x1",
                           "4294967296", "99999999999999999999", "c2147483648", "c1x", "１"}) {
        EXPECT_EQ(0u, securitySessionIdFromLogindId(id)) << '"' << id << '"';
    }
}

SessionRecord userSession() {
    SessionRecord record;
    record.id = "2";
    record.active = true;
    record.sessionClass = "user";
    record.type = "x11";
    record.userName = "alice";
    record.uid = 1000;
    return record;
}

TEST(SessionDictionaryTest, NoSessionIsTheNullValue) {
    EXPECT_TRUE(sessionDictionary(std::nullopt).isNull());
}

TEST(SessionDictionaryTest, OnlyAGreeterHasNotLoggedIn) {
    SessionRecord record = userSession();
    record.active = false;
    record.sessionClass = "greeter";
    Value dictionary = sessionDictionary(record);
    // The very false object: the agent tests identity, not a numeric 0.
    EXPECT_TRUE(dictionary.get(kCGSessionLoginDoneKey).isSameObject(kCFBooleanFalse()));
    EXPECT_TRUE(dictionary.get(kCGSSessionOnConsoleKey).isSameObject(kCFBooleanFalse()));

    for (const char* other : {"user", "lock-screen", "background", ""}) {
        record.sessionClass = other;
        dictionary = sessionDictionary(record);
        EXPECT_TRUE(dictionary.get(kCGSessionLoginDoneKey).isSameObject(kCFBooleanTrue())) << other;
    }
}

}  // namespace
}  // namespace qn::platform::linux_host::login
