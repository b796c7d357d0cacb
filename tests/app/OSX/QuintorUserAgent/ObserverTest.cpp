#include <gtest/gtest.h>

#include "app/OSX/QuintorUserAgent/NotificationCommunicator.h"
#include "app/OSX/QuintorUserAgent/QuartzDisplayNotificationObserver.h"
#include "tests/app/OSX/QuintorUserAgent/AgentTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using Lines = std::vector<std::string>;
using Registration = platform::sim::SimQuartz::Registration;

TEST(QuartzDisplayNotificationObserver, ScreenUpdateCallbacksAreAllOrNothing) {
    testing::AgentHost agent;
    auto& quartz = agent.host().quartz();
    QuartzDisplayNotificationObserver observer;
    quartz.failRegistration(Registration::Move, 1000);
    EXPECT_FALSE(observer.registerToQuartzDisplayNotifications());
    EXPECT_EQ(quartz.registeredCount(Registration::Reconfiguration), 1u);
    EXPECT_EQ(quartz.registeredCount(Registration::Refresh), 0u);
    EXPECT_EQ(quartz.registeredCount(Registration::Move), 0u);
    EXPECT_EQ(agent.newLines(),
              (Lines{"INFO Registering QuartzDisplayNotification callbacks",
                     "ERROR Couldn't register move callback: 1000",
                     "ERROR Unable to register for screen update notifications"}));

    // The next try goes through; the reconfiguration callback is found in place.
    quartz.failRegistration(Registration::Move, 0);
    EXPECT_TRUE(observer.registerToQuartzDisplayNotifications());
    EXPECT_EQ(quartz.registeredCount(Registration::Reconfiguration), 1u);
    EXPECT_EQ(quartz.registeredCount(Registration::Move), 1u);
    agent.newLines();
    observer.unregisterQuartzDisplayNotifications();
    observer.unregisterQuartzDisplayNotifications();
    EXPECT_EQ(
        agent.newLines(),
        (Lines{"INFO Screen update callbacks have been unregistered",
               "INFO QuartzDisplayNotification callbacks unregistered",
               "INFO Display reconfiguration callback have not been registered. Nothing to "
               "unregister.",
               "INFO Screen update callbacks have not been registered. Nothing to unregister.",
               "INFO QuartzDisplayNotification callbacks unregistered"}));
    EXPECT_EQ(quartz.registeredCount(Registration::Reconfiguration), 0u);
}

TEST(QuartzDisplayNotificationObserver, RegisteringTwiceFindsEverythingInPlace) {
    testing::AgentHost agent;
    auto& quartz = agent.host().quartz();
    QuartzDisplayNotificationObserver observer;
    EXPECT_TRUE(observer.registerToQuartzDisplayNotifications());
    agent.newLines();
    EXPECT_TRUE(observer.registerToQuartzDisplayNotifications());
    EXPECT_EQ(agent.newLines(), (Lines{"INFO Registering QuartzDisplayNotification callbacks",
                                       "INFO Display reconfiguration callback already registered",
                                       "INFO Screen update callbacks already registered"}));
    EXPECT_EQ(quartz.registeredCount(Registration::Reconfiguration), 1u);
    EXPECT_EQ(quartz.registeredCount(Registration::Refresh), 1u);
    EXPECT_EQ(quartz.registeredCount(Registration::Move), 1u);
    observer.unregisterQuartzDisplayNotifications();
}

TEST(QuartzDisplayNotificationObserver, FailingReconfigurationRegistrationTriesNothingElse) {
    testing::AgentHost agent;
    auto& quartz = agent.host().quartz();
    QuartzDisplayNotificationObserver observer;
    quartz.failRegistration(Registration::Reconfiguration, 1001);
    EXPECT_FALSE(observer.registerToQuartzDisplayNotifications());
    EXPECT_EQ(agent.newLines(),
              (Lines{"INFO Registering QuartzDisplayNotification callbacks",
                     "ERROR Couldn't register display reconfiguration callback: 1001",
                     "ERROR Unable to register for display reconfiguration notifications"}));
    EXPECT_EQ(quartz.registeredCount(Registration::Reconfiguration), 0u);
    EXPECT_EQ(quartz.registeredCount(Registration::Refresh), 0u);

    // The observer stays alive and the next allow tries again.
    EXPECT_TRUE(observer.registerToQuartzDisplayNotifications());
    EXPECT_EQ(quartz.registeredCount(Registration::Reconfiguration), 1u);
    EXPECT_EQ(quartz.registeredCount(Registration::Move), 1u);
    observer.unregisterQuartzDisplayNotifications();
}

TEST(QNMMessageObserver, LogsTheFiveNotificationsItIsRegisteredFor) {
    testing::AgentHost agent;
    auto communicator = NotificationCommunicator::create();
    ASSERT_NE(communicator, nullptr);
    communicator->postInitConfigurationInSession_asPreloginAgent(7, false);
    EXPECT_EQ(communicator->qnmObserver()->displayStreamStateDelegate(), communicator.get());
    EXPECT_EQ(communicator->qnmObserver()->exceptioHandlingDelegate(), communicator.get());
    agent.host().runLoop().runPending();
    agent.newLines();

    auto& manager = agent.host().manager();
    platform::Value stream = platform::Value::dictionary();
    stream.set(platform::QNM_Notification_Display_Stream_DisplayID,
               platform::Value::number(std::int64_t{testing::kDisplay}));
    for (const auto& notification : platform::managerNotifications()) {
        manager.post(notification.name, stream);
    }
    manager.post("QNM_Notification_Something_Else");
    agent.host().runLoop().runPending();
    // The release of a frame surface comes once a frame: VERBOSE, off by default.
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG observeNotification: received QNM_Notification_Sw_Update_Required "
                     "notification",
                     "DEBUG observeNotification: received QNM_Notification_Monitor_Mode_Restricted "
                     "notification",
                     "DEBUG observeNotification: received QNM_Notification_Start_Display_Stream "
                     "notification",
                     "INFO Screen update callbacks have been unregistered",
                     "DEBUG DisplayStreamFrameUpdaterImpl::start for: 0x4280f80",
                     "DEBUG observeNotification: received QNM_Notification_Stop_Display_Stream "
                     "notification",
                     "INFO Screen update callbacks have been registered",
                     "DEBUG DisplayStreamFrameUpdaterImpl::stop for: 0x4280f80",
                     "DEBUG display stream frame stopped for: 0x4280f80"}));
    // The stopped updater deletes itself 100 ns later.
    agent.host().runLoop().advance(1000);
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
