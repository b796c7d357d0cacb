#include "app/OSX/QuintorUserAgent/NotificationCommunicator.h"

#include <gtest/gtest.h>

#include <regex>

#include "app/OSX/QuintorUserAgent/QuintorUserAgent.h"
#include "tests/app/OSX/QuintorUserAgent/AgentTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using Lines = std::vector<std::string>;

class NotificationCommunicatorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        communicator = NotificationCommunicator::create();
        ASSERT_NE(communicator, nullptr);
        communicator->postInitConfigurationInSession_asPreloginAgent(7, false);
        agent.host().runLoop().runPending();
        agent.newLines();
        agent.newCalls();
    }
    testing::AgentHost agent;
    std::unique_ptr<NotificationCommunicator> communicator;
};

TEST_F(NotificationCommunicatorTest, AfterClosingTheHeartbeatOnlyLogs) {
    communicator->sendCloseMessage();
    EXPECT_EQ(agent.newCalls(), Lines{"closing"});
    agent.host().quartz().setAsleep(testing::kDisplay, true);
    agent.host().runLoop().advanceSeconds(2.0);
    communicator->heartbeat();
    EXPECT_EQ(agent.newCalls(), Lines{});
    EXPECT_FALSE(communicator->displaysAreAsleep());
    EXPECT_EQ(agent.newLines(), (Lines{"INFO Got quit signal - will forward to QNM",
                                       "DEBUG User is not active", "DEBUG User is not active"}));
}

TEST_F(NotificationCommunicatorTest, FailureReasonsAreLoggedAsTextAddressOrNothing) {
    auto& manager = agent.host().manager();
    manager.failCall("systemWillSleep", "Manager is busy", 1);
    communicator->systemWillSleep();
    auto lines = agent.newLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "INFO System will sleep");
    // The one handler that shows the reason object's address, not its text.
    EXPECT_TRUE(std::regex_match(lines[1], std::regex("ERROR 0x[0-9a-f]+"))) << lines[1];
    EXPECT_TRUE(communicator->systemIsAsleep());

    // A reason ASCII cannot hold leaves the line empty.
    manager.failCall("systemWillWake", "Manager \xc3\xa9tait occup\xc3\xa9", 1);
    communicator->systemWillWake();
    EXPECT_EQ(agent.newLines(), (Lines{"INFO System will wake", "ERROR "}));
    EXPECT_FALSE(communicator->systemIsAsleep());

    // Session events stop at the line: use stays allowed, no reconnection.
    manager.failCall("userWillLogin:", "Manager is busy", 1);
    communicator->userWillLogIn();
    EXPECT_FALSE(communicator->reconnectionScheduled());
    EXPECT_TRUE(communicator->quartzNotificationObserver()->qnmProxy());
}

TEST_F(NotificationCommunicatorTest, EndDateOnlyMovesForwardAndEverySetIsAPoll) {
    const auto far = agent.host().foundation().date().dateByAddingTimeInterval(3600);
    agent.host().quartz().setAsleep(testing::kDisplay, true);
    communicator->setUpdateClientEndDate(far);
    // The poll inside saw the change: one call, and its inner poll sent nothing more.
    EXPECT_EQ(agent.newCalls(), Lines{"setSleepMode:witUserZoom:"});
    communicator->setUpdateClientEndDate(std::nullopt);
    EXPECT_EQ(communicator->updateClientEndDate().timeIntervalSinceReferenceDate,
              far.timeIntervalSinceReferenceDate);
}

TEST_F(NotificationCommunicatorTest, WithoutProxyEveryCallIsSilentButLocalEffectsHappen) {
    communicator->destroyQnmProxy();
    agent.newLines();
    communicator->userWillLogOut();
    communicator->systemWillSleep();
    communicator->sendStartMessage();
    communicator->userWillLogIn();
    EXPECT_EQ(agent.newCalls(), Lines{});
    EXPECT_TRUE(communicator->systemIsAsleep());
    // Login still registers the Quartz callbacks, with no proxy to forward to.
    EXPECT_EQ(
        agent.host().quartz().registeredCount(platform::sim::SimQuartz::Registration::Refresh), 1u);
}

TEST(AgentMain, RunLoopThatReturnsReleasesTheCommunicatorAndGivesZero) {
    testing::AgentHost agent;
    agent.host().foundation().setRunHorizon(3 * platform::sim::SimRunLoop::kSecond);
    EXPECT_EQ(agentMain(), 0);
    const auto lines = agent.newLines();
    ASSERT_GE(lines.size(), 5u);
    EXPECT_EQ(lines.front(), "ALWAYS QuintorUserAgent main starting");
    // dealloc drops the proxy, and that withholds use first.
    EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
              (Lines{"DEBUG dealloc", "DEBUG disallowQnmProxyUse",
                     "INFO Screen update callbacks have been unregistered",
                     "INFO QuartzDisplayNotification callbacks unregistered"}));
    EXPECT_TRUE(agent.host().appKit().applicationLaunched());
    EXPECT_EQ(agent.host().foundation().suddenTerminationDisabledCount(), 1);
    // The workspace observers went with the communicator.
    EXPECT_EQ(agent.host().appKit().workspaceNotificationCenter().observerCount(), 0u);
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
