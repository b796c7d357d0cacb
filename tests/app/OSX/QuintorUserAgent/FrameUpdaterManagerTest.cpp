#include <gtest/gtest.h>

#include <memory>

#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdaterManager.h"
#include "tests/app/OSX/QuintorUserAgent/StreamTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using Lines = std::vector<std::string>;
using platform::CGRectMake;
using testing::address;
using testing::kAdapter;
using testing::kDisplay;

constexpr platform::CGDirectDisplayID kOther = 0x5;

class FrameUpdaterManager : public ::testing::Test {
  protected:
    FrameUpdaterManager() {
        platform::sim::SimDisplay other;
        other.id = kOther;
        other.pixelWidth = 32;
        other.pixelHeight = 16;
        agent.host().quartz().setDisplay(other);
        manager->setQnmProxy(agent.proxy());
        manager->setExceptionHandlingDelegate(&delegate);
    }
    ~FrameUpdaterManager() override {
        // The updaters end with their stopped status, a moment after the manager.
        manager.reset();
        agent.host().runLoop().advance(1000);
    }

    testing::StreamHost agent;
    testing::ExceptionCounter delegate;
    std::unique_ptr<DisplayStreamFrameUpdaterManager> manager =
        std::make_unique<DisplayStreamFrameUpdaterManager>();
};

TEST_F(FrameUpdaterManager, CommandsForDisplaysWithoutAStreamChangeNothing) {
    manager->stopStream(kDisplay);
    manager->releaseFrameSurface(kDisplay, 0x1000);
    EXPECT_EQ(manager->streamCount(), 0u);
    EXPECT_TRUE(agent.host().ioKit().calls().empty());
    EXPECT_TRUE(agent.host().quartz().streams().empty());
    EXPECT_TRUE(agent.newLines().empty());
}

TEST_F(FrameUpdaterManager, TwoStartsKeepOneUpdaterStartedTwice) {
    manager->startStream(kDisplay, kAdapter, -7);
    auto* first = manager->updater(kDisplay);
    manager->startStream(kDisplay, kAdapter, -7);
    EXPECT_EQ(manager->streamCount(), 1u);
    EXPECT_EQ(manager->updater(kDisplay), first);
    EXPECT_EQ(agent.host().quartz().streams().size(), 2u);
    // The token travels sign-extended.
    agent.frames({{CGRectMake(1, 1, 1, 1)}});
    const auto calls = agent.newManagerCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].arguments[4].longLongValue(), -7);
}

TEST_F(FrameUpdaterManager, AReleaseReachesItsDisplayOnlyAndIsDroppedAfterAStop) {
    manager->startStream(kDisplay, kAdapter, 1);
    manager->startStream(kOther, kAdapter, 2);
    agent.frames({{CGRectMake(1, 1, 1, 1)}});
    auto& surface = *agent.stream(kDisplay).surfaces[0];
    agent.newDriverCalls();
    manager->releaseFrameSurface(kOther, address(surface));
    // The other display's updater hears it; this surface stays with the Manager.
    EXPECT_EQ(surface.useCount(), 1);
    manager->releaseFrameSurface(kDisplay, address(surface));
    EXPECT_EQ(surface.useCount(), 0);

    agent.frames({{CGRectMake(2, 2, 2, 2)}});
    ASSERT_EQ(surface.useCount(), 1);
    manager->stopStream(kDisplay);
    EXPECT_EQ(manager->updater(kDisplay), nullptr);
    agent.newDriverCalls();
    manager->releaseFrameSurface(kDisplay, address(surface));
    // Dropped: no driver call, and the surface stays held until the updater's end.
    EXPECT_TRUE(agent.newDriverCalls().empty());
    EXPECT_EQ(surface.useCount(), 1);
    // The stopped updater ends itself and gives the frame back: nobody else could.
    agent.host().runLoop().advance(1000);
    EXPECT_EQ(agent.host().ioKit().openConnections(), 1u);
    EXPECT_EQ(surface.useCount(), 0);
    EXPECT_EQ(surface.retainCount(), 1);
}

TEST_F(FrameUpdaterManager, DestroyingTheManagerStopsEveryStreamLowestDisplayFirst) {
    manager->startStream(kDisplay, kAdapter, 1);
    manager->startStream(kOther, kAdapter, 2);
    agent.newLines();
    manager.reset();
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG DisplayStreamFrameUpdaterImpl::stop for: 0x5",
                     "DEBUG DisplayStreamFrameUpdaterImpl::stop for: 0x4280f80"}));
    // The updaters outlive the manager until their stopped status.
    EXPECT_EQ(agent.host().ioKit().openConnections(), 2u);
    agent.host().runLoop().advance(1000);
    EXPECT_EQ(agent.host().ioKit().openConnections(), 0u);
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdaterManager, AProxySetLaterReachesOnlyStreamsStartedLater) {
    manager->startStream(kOther, kAdapter, 2);
    agent.host().manager().die(platform::sim::SimManager::DeathNotice::None);
    agent.host().manager().comeBack();
    manager->setQnmProxy(agent.proxy());
    manager->startStream(kDisplay, kAdapter, 1);
    agent.newManagerCalls();
    agent.frames({{CGRectMake(1, 1, 1, 1)}}, kOther);
    agent.frames({{CGRectMake(1, 1, 1, 1)}}, kDisplay);
    const auto calls = agent.newManagerCalls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].raised, platform::sim::SimManager::kConnectionInvalidReason);
    EXPECT_EQ(calls[1].raised, "");
    EXPECT_EQ(delegate.count, 1);
    manager.reset();
    agent.host().runLoop().advance(1000);
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
