#include "platform/sim/SimFoundation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sim/SimDispatch.h"

namespace qn::platform::sim {
namespace {

class SimFoundationTest : public ::testing::Test {
  protected:
    double now() const { return loop.nowSeconds(); }
    SimRunLoop loop;
    SimFoundation foundation{loop};
    std::vector<std::string> events;
};

TEST_F(SimFoundationTest, RepeatingTimerKeepsItsScheduleAndSkipsBeatsMissedWhileBlocked) {
    std::vector<double> beats;
    // The caller drops the timer: the run loop keeps it.
    foundation.scheduledTimerWithTimeInterval(
        2.0, [&](NSTimer&) { beats.push_back(now()); }, Value(), true);
    loop.advanceSeconds(6.5);
    EXPECT_EQ(beats, (std::vector<double>{2.0, 4.0, 6.0}));

    // Blocked for 5 seconds past two due beats: one late beat, then back on the grid.
    loop.sleep(5 * SimRunLoop::kSecond);
    loop.advanceSeconds(2.0);
    EXPECT_EQ(beats, (std::vector<double>{2.0, 4.0, 6.0, 11.5, 12.0}));
}

TEST_F(SimFoundationTest, OneShotTimerFiresOnceAndInvalidationFromItsHandlerStopsRepeats) {
    int oneShot = 0;
    auto once = foundation.scheduledTimerWithTimeInterval(
        5.0, [&](NSTimer&) { ++oneShot; }, Value::string("info"), false);
    int repeats = 0;
    foundation.scheduledTimerWithTimeInterval(
        1.0,
        [&](NSTimer& timer) {
            if (++repeats == 2) {
                timer.invalidate();
            }
        },
        Value(), true);
    EXPECT_TRUE(once->isValid());
    EXPECT_EQ(once->userInfo().stringValue(), "info");

    loop.advanceSeconds(20);
    EXPECT_EQ(oneShot, 1);
    EXPECT_FALSE(once->isValid());
    EXPECT_EQ(repeats, 2);
    EXPECT_EQ(loop.pendingCount(), 0u);
}

TEST_F(SimFoundationTest, TimerAndDelayedDispatchWithTheSameDeadlineFireInSchedulingOrder) {
    SimDispatch dispatch(loop);
    auto* queue = dispatch.dispatch_queue_create("com.quintor.reconfigurationQueue", nullptr);
    dispatch.dispatch_after(
        dispatch.dispatch_time(DISPATCH_TIME_NOW, 2 * NSEC_PER_SEC), queue, [&] {
            EXPECT_EQ(dispatch.currentQueue(), queue);
            events.push_back("queue");
            // Back to the main thread, as the agent's delay does.
            foundation.performSelectorOnMainThread([&] { events.push_back("main"); }, false);
        });
    foundation.scheduledTimerWithTimeInterval(
        2.0, [&](NSTimer&) { events.push_back("timer"); }, Value(), false);
    dispatch.dispatch_after_f(dispatch.dispatch_time(DISPATCH_TIME_NOW, 1 * NSEC_PER_SEC),
                              dispatch.dispatch_get_main_queue(), &events, [](void* context) {
                                  static_cast<std::vector<std::string>*>(context)->push_back("f");
                              });

    loop.advanceSeconds(1.9);
    EXPECT_EQ(events, (std::vector<std::string>{"f"}));
    loop.advanceSeconds(0.1);
    EXPECT_EQ(events, (std::vector<std::string>{"f", "queue", "timer", "main"}));
}

TEST_F(SimFoundationTest, QueuedNotificationIsPostedWhenTheRunLoopTurnsAndCoalesces) {
    int sender = 0;
    int other = 0;
    foundation.defaultCenter().addObserver(
        this,
        [&](const NSNotification& n) {
            events.push_back(n.object == &sender ? "sender" : "other");
        },
        "updateClientImmediatlyNotification", nullptr);

    const NSNotification fromSender{"updateClientImmediatlyNotification", &sender, Value()};
    foundation.defaultQueue().enqueueNotification(fromSender, NSPostASAP);
    foundation.defaultQueue().enqueueNotification(fromSender, NSPostASAP);
    foundation.defaultQueue().enqueueNotification(
        {"updateClientImmediatlyNotification", &other, Value()}, NSPostASAP);
    EXPECT_TRUE(events.empty());

    loop.runPending();
    EXPECT_EQ(events, (std::vector<std::string>{"sender", "other"}));

    // Posting now replaces a queued one like it.
    foundation.defaultQueue().enqueueNotification(fromSender, NSPostASAP);
    foundation.defaultQueue().enqueueNotification(fromSender, NSPostNow);
    EXPECT_EQ(events.size(), 3u);
    loop.runPending();
    EXPECT_EQ(events.size(), 3u);
}

TEST_F(SimFoundationTest, CentresFilterBySenderAndDeliverAtTheirOwnTime) {
    int proxy = 0;
    int connection = 0;
    foundation.defaultCenter().addObserver(
        this, [&](const NSNotification&) { events.push_back("died"); },
        NSConnectionDidDieNotification, &proxy);
    foundation.defaultCenter().postNotificationName(NSConnectionDidDieNotification, &connection);
    EXPECT_TRUE(events.empty());
    foundation.defaultCenter().postNotificationName(NSConnectionDidDieNotification, &proxy);
    EXPECT_EQ(events, (std::vector<std::string>{"died"}));

    // The distributed centre delivers on the run loop; an observer removed by an
    // earlier one in the same delivery gets nothing.
    int second = 0;
    foundation.distributedCenter().addObserver(
        this,
        [&](const NSNotification& n) {
            events.push_back(n.userInfo.get("key").stringValue());
            foundation.distributedCenter().removeObserver(&second);
        },
        "", nullptr);
    foundation.distributedCenter().addObserver(
        &second, [&](const NSNotification&) { events.push_back("second"); }, "", nullptr);
    Value userInfo = Value::dictionary();
    userInfo.set("key", Value::string("value"));
    foundation.distributedCenter().postNotificationName("QNM_Notification_Stop_Display_Stream",
                                                        nullptr, userInfo);
    EXPECT_EQ(events.size(), 1u);
    loop.runPending();
    EXPECT_EQ(events, (std::vector<std::string>{"died", "value"}));
}

}  // namespace
}  // namespace qn::platform::sim
