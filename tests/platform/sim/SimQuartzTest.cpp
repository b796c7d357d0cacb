#include "platform/sim/SimQuartz.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/sim/SimHost.h"

namespace qn::platform::sim {
namespace {

struct Seen {
    std::vector<std::pair<CGDirectDisplayID, CGDisplayChangeSummaryFlags>> events;
    SimQuartz* quartz = nullptr;
    void* other = nullptr;
};

void record(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags, void* seen) {
    static_cast<Seen*>(seen)->events.push_back({display, flags});
}

// Takes the other registration away in the middle of a round.
void removeOther(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags, void* seen) {
    auto* s = static_cast<Seen*>(seen);
    record(display, flags, seen);
    s->quartz->CGDisplayRemoveReconfigurationCallback(&record, s->other);
}

SimDisplay display(CGDirectDisplayID id) {
    SimDisplay d;
    d.id = id;
    return d;
}

class SimQuartzTest : public ::testing::Test {
  protected:
    SimHost host;
    SimQuartz& quartz = host.quartz();
};

TEST_F(SimQuartzTest, PlugAndUnplugArriveOnTheRunLoopAsBeginThenTheChange) {
    Seen seen;
    ASSERT_EQ(quartz.CGDisplayRegisterReconfigurationCallback(&record, &seen), kCGErrorSuccess);
    EXPECT_EQ(quartz.CGDisplayRegisterReconfigurationCallback(&record, &seen),
              kCGErrorIllegalArgument);

    quartz.addDisplay(display(7));
    quartz.removeDisplay(7);
    EXPECT_TRUE(seen.events.empty());
    host.runLoop().runPending();

    using E = std::pair<CGDirectDisplayID, CGDisplayChangeSummaryFlags>;
    EXPECT_EQ(seen.events, (std::vector<E>{{7, kCGDisplayBeginConfigurationFlag},
                                           {7, kCGDisplayAddFlag | kCGDisplayEnabledFlag},
                                           {7, kCGDisplayBeginConfigurationFlag},
                                           {7, kCGDisplayRemoveFlag | kCGDisplayDisabledFlag}}));
    EXPECT_EQ(quartz.CGDisplayBounds(7), CGRect{});
}

TEST_F(SimQuartzTest, ACallbackRemovedEarlierInTheSameRoundIsNotCalled) {
    Seen first;
    Seen second;
    first.quartz = &quartz;
    first.other = &second;
    quartz.CGDisplayRegisterReconfigurationCallback(&removeOther, &first);
    quartz.CGDisplayRegisterReconfigurationCallback(&record, &second);
    quartz.reconfigure(3, kCGDisplaySetModeFlag);
    host.runLoop().runPending();
    EXPECT_EQ(first.events.size(), 1u);
    EXPECT_TRUE(second.events.empty());
}

TEST_F(SimQuartzTest, AFailedRegistrationFailsOnceAndLeavesNothingRegistered) {
    Seen seen;
    quartz.failRegistration(SimQuartz::Registration::Reconfiguration, kCGErrorFailure);
    EXPECT_EQ(quartz.CGDisplayRegisterReconfigurationCallback(&record, &seen), kCGErrorFailure);
    EXPECT_EQ(quartz.registeredCount(SimQuartz::Registration::Reconfiguration), 0u);
    EXPECT_EQ(quartz.CGDisplayRegisterReconfigurationCallback(&record, &seen), kCGErrorSuccess);
}

TEST_F(SimQuartzTest, DisplayListsRespectCapacityAndTheActiveListLeavesSleepersOut) {
    for (CGDirectDisplayID id = 1; id <= 70; ++id) {
        quartz.setDisplay(display(id));
    }
    quartz.display(2)->asleep = true;
    quartz.display(3)->online = false;

    std::vector<CGDirectDisplayID> ids(64);
    std::uint32_t count = 0;
    quartz.CGGetOnlineDisplayList(64, ids.data(), &count);
    EXPECT_EQ(count, 64u);
    EXPECT_EQ(ids[2], 4u);
    quartz.CGGetOnlineDisplayList(0, nullptr, &count);
    EXPECT_EQ(count, 69u);
    quartz.CGGetActiveDisplayList(64, ids.data(), &count);
    EXPECT_EQ(ids[1], 4u);

    EXPECT_EQ(quartz.CGMainDisplayID(), 1u);
    quartz.setMainDisplay(5);
    EXPECT_EQ(quartz.CGMainDisplayID(), 5u);
    quartz.setWindowServer(false);
    EXPECT_EQ(quartz.CGMainDisplayID(), 0u);
    EXPECT_NE(quartz.CGGetOnlineDisplayList(64, ids.data(), &count), kCGErrorSuccess);
    EXPECT_EQ(count, 0u);
}

}  // namespace
}  // namespace qn::platform::sim
