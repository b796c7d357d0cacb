#include <gtest/gtest.h>

#include "app/OSX/QuintorUserAgent/SessionFacts.h"
#include "app/OSX/QuintorUserAgent/SessionGate.h"
#include "tests/app/OSX/QuintorUserAgent/AgentTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using platform::Value;
using Lines = std::vector<std::string>;

Value sessionWith(const char* key, Value value) {
    Value session;
    session.set(platform::kCGSSessionOnConsoleKey, platform::kCFBooleanTrue());
    if (key) {
        session.set(key, std::move(value));
    }
    return session;
}

TEST(SessionFacts, PreLoginOnlyWithoutDictionaryOrWithTheFalseObject) {
    testing::AgentHost agent;
    auto& quartz = agent.host().quartz();

    quartz.setSession(Value());
    auto facts = SessionFacts::read();
    EXPECT_TRUE(facts.isPreloginSession);
    EXPECT_EQ(facts.userSessionId, 100000u);
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG No session info. Assuming we are in pre-login session."}));

    // No login-done key: an ordinary session.
    quartz.setSession(sessionWith(nullptr, Value()));
    EXPECT_FALSE(SessionFacts::read().isPreloginSession);
    EXPECT_EQ(agent.newLines(), (Lines{"DEBUG Is pre-login session: false"}));

    // A number 0 is no boolean false object.
    quartz.setSession(
        sessionWith(platform::kCGSessionLoginDoneKey, Value::number(std::int64_t{0})));
    EXPECT_FALSE(SessionFacts::read().isPreloginSession);

    quartz.setSession(sessionWith(platform::kCGSessionLoginDoneKey, platform::kCFBooleanFalse()));
    EXPECT_TRUE(SessionFacts::read().isPreloginSession);
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG Is pre-login session: false", "DEBUG Is pre-login session: true"}));
}

TEST(SessionFacts, FailingSessionLookupGivesIdZeroWithoutALine) {
    testing::AgentHost agent;
    agent.host().system().setSessionInfoFails(true);
    const auto facts = SessionFacts::read();
    EXPECT_EQ(facts.userSessionId, 0u);
    EXPECT_FALSE(facts.isPreloginSession);
    EXPECT_EQ(agent.newLines(), (Lines{"DEBUG Is pre-login session: false"}));
}

TEST(SessionGate, UserIsActiveOnlyWhenTheOnConsoleValueIsTrue) {
    testing::AgentHost agent;
    auto& quartz = agent.host().quartz();
    EXPECT_TRUE(isUserActive());

    quartz.setSession(Value());
    EXPECT_FALSE(isUserActive());
    EXPECT_EQ(agent.newLines(), (Lines{"DEBUG No session info. Assuming my user is not active."}));

    Value withoutKey;
    withoutKey.set(platform::kCGSessionLoginDoneKey, platform::kCFBooleanTrue());
    quartz.setSession(withoutKey);
    EXPECT_FALSE(isUserActive());

    // The key is spelled with a double S; the single-S spelling does not count.
    Value misspelt;
    misspelt.set("kCGSessionOnConsoleKey", platform::kCFBooleanTrue());
    quartz.setSession(misspelt);
    EXPECT_FALSE(isUserActive());
    EXPECT_EQ(agent.newLines(), Lines{});
}

TEST(SessionGate, WaitPollsEachSecondUntilTheUserComes) {
    testing::AgentHost agent;
    auto& host = agent.host();
    Value away;
    away.set(platform::kCGSSessionOnConsoleKey, platform::kCFBooleanFalse());
    host.quartz().setSession(away);
    host.runLoop().scheduleWorld(3500000000, [&] {
        host.quartz().setSession(sessionWith(platform::kCGSessionLoginDoneKey, Value()));
    });
    waitForActiveUser();
    EXPECT_EQ(host.system().secondsSlept(), 4u);
    EXPECT_EQ(agent.newLines(), (Lines{"DEBUG The user whose session we are running in is inactive",
                                       "DEBUG ...user became active"}));
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
