#include "platform/sim/SimManager.h"

#include <gtest/gtest.h>

#include "platform/Backend.h"
#include "platform/sim/SimHost.h"

namespace qn::platform::sim {
namespace {

class SimManagerTest : public ::testing::Test {
  protected:
    ProxyRef lookUp() {
        return platform::foundation().rootProxyForConnectionWithRegisteredName(
            SimManager::kRegisteredName, nullptr);
    }
    std::string raisedBy(const ProxyRef& proxy, const std::string& selector) {
        try {
            proxy.call(selector, {Value::number(std::int64_t{1})});
        } catch (const ProxyException& e) {
            return e.reason();
        }
        return "";
    }

    SimHost host;
    ScopedBackend backend{host.backend()};
    SimManager& manager = host.manager();
};

TEST_F(SimManagerTest, LookupFailsWhileTheNameHasNoOwnerAndAnAbsentProxyIsASilentNoOp) {
    const auto proxy = lookUp();
    EXPECT_FALSE(proxy);
    EXPECT_NO_THROW(proxy.call("closing"));
    EXPECT_TRUE(manager.calls().empty());

    manager.setRegistered(true);
    EXPECT_FALSE(
        platform::foundation().rootProxyForConnectionWithRegisteredName("com.other", nullptr));
    EXPECT_FALSE(platform::foundation().rootProxyForConnectionWithRegisteredName(
        SimManager::kRegisteredName, "elsewhere"));
    const auto found = lookUp();
    ASSERT_TRUE(found);
    found.call("started:withSessionType:",
               {Value::number(std::int64_t{100000}), Value::number(std::int64_t{0})});

    const auto calls = manager.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].name, "started:withSessionType:");
    EXPECT_EQ(calls[0].arguments[0].unsignedIntValue(), 100000u);
}

TEST_F(SimManagerTest, ChosenCallsRaiseTheChosenReasonAsOftenAsConfigured) {
    manager.setRegistered(true);
    const auto proxy = lookUp();
    manager.failCall("closing", "busy", 2);
    manager.failCall("systemWillSleep", "always");

    EXPECT_EQ(raisedBy(proxy, "closing"), "busy");
    EXPECT_EQ(raisedBy(proxy, "closing"), "busy");
    EXPECT_EQ(raisedBy(proxy, "closing"), "");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(raisedBy(proxy, "systemWillSleep"), "always");
    }
    // A raising call still reached the Manager and is in its transcript.
    const auto calls = manager.calls();
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[0].raised, "busy");
    EXPECT_EQ(calls[2].raised, "");

    manager.clearFailures();
    EXPECT_EQ(raisedBy(proxy, "systemWillSleep"), "");
}

TEST_F(SimManagerTest, DeathBreaksEveryOldProxyAndAComebackGivesANewConnection) {
    manager.setRegistered(true);
    const auto old = lookUp();
    int byConnection = 0;
    int byProxy = 0;
    host.foundation().defaultCenter().addObserver(
        this, [&](const NSNotification&) { ++byConnection; }, NSConnectionDidDieNotification,
        old.connection());
    host.foundation().defaultCenter().addObserver(
        &byProxy, [&](const NSNotification&) { ++byProxy; }, NSConnectionDidDieNotification,
        old.object());

    manager.die();
    EXPECT_FALSE(lookUp());
    EXPECT_EQ(raisedBy(old, "closing"), SimManager::kConnectionInvalidReason);
    EXPECT_TRUE(manager.calls().empty()) << "a call on a dead connection never reaches the Manager";
    EXPECT_FALSE(manager.transcript().back().delivered);

    // The death arrives on the run loop, with the connection as object.
    EXPECT_EQ(byConnection, 0);
    host.runLoop().runPending();
    EXPECT_EQ(byConnection, 1);
    EXPECT_EQ(byProxy, 0);

    manager.comeBack();
    const auto fresh = lookUp();
    ASSERT_TRUE(fresh);
    EXPECT_NE(fresh.connection(), old.connection());
    EXPECT_EQ(raisedBy(old, "closing"), SimManager::kConnectionInvalidReason);
    EXPECT_EQ(raisedBy(fresh, "closing"), "");
}

TEST_F(SimManagerTest, DeathNoticeCanNameTheProxiesOrNothing) {
    manager.setRegistered(true);
    const auto proxy = lookUp();
    int heard = 0;
    host.foundation().defaultCenter().addObserver(
        this, [&](const NSNotification&) { ++heard; }, NSConnectionDidDieNotification,
        proxy.object());
    manager.die(SimManager::DeathNotice::Proxies);
    host.runLoop().runPending();
    EXPECT_EQ(heard, 1);

    manager.comeBack();
    const auto second = lookUp();
    host.foundation().defaultCenter().removeObserver(this);
    host.foundation().defaultCenter().addObserver(
        this, [&](const NSNotification&) { ++heard; }, NSConnectionDidDieNotification, nullptr);
    manager.die(SimManager::DeathNotice::None);
    host.runLoop().runPending();
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(raisedBy(second, "closing"), SimManager::kConnectionInvalidReason);
}

TEST_F(SimManagerTest, PostedNotificationsReachDistributedObserversOnTheRunLoop) {
    Value seen;
    host.foundation().distributedCenter().addObserver(
        this, [&](const NSNotification& n) { seen = n.userInfo; },
        "QNM_Notification_Release_Frame_Surface", nullptr);
    Value userInfo = Value::dictionary();
    userInfo.set("QNM_Notification_Display_Stream_FrameSurfaceAddr",
                 Value::number(std::int64_t{0x7f0000001000}));
    manager.post("QNM_Notification_Release_Frame_Surface", userInfo);
    EXPECT_TRUE(seen.isNull());
    host.runLoop().runPending();
    EXPECT_EQ(seen.get("QNM_Notification_Display_Stream_FrameSurfaceAddr").longLongValue(),
              0x7f0000001000);
    EXPECT_EQ(manager.transcript().back().kind, SimManagerEvent::Kind::Post);
}

}  // namespace
}  // namespace qn::platform::sim
