#include <gtest/gtest.h>

#include "app/OSX/QuintorUserAgent/DisplayStreamFrameUpdaterImpl.h"
#include "tests/app/OSX/QuintorUserAgent/StreamTestSupport.h"

namespace qn::app::osx::qnuapp {
namespace {

using Lines = std::vector<std::string>;
using platform::CGRectMake;
using platform::sim::SimSurface;
using testing::address;
using testing::kAdapter;
using testing::kDisplay;
using testing::kToken;
using testing::rectOf;

constexpr const char* kFrameAvailable =
    "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:";
constexpr const char* kRefreshed = "onRectRefreshed:onDisplayID:";

// An updater, started on the adapter display, with the start's traces consumed.
class FrameUpdater : public ::testing::Test {
  protected:
    FrameUpdater() {
        updater = new DisplayStreamFrameUpdaterImpl(agent.proxy(), &delegate, &controls, &mappers);
        updater->start(kDisplay, kAdapter, kToken);
        agent.newLines();
        agent.newDriverCalls();
        agent.newManagerCalls();
    }
    ~FrameUpdater() override {
        // Those that stopped delete themselves; the others go here.
        if (updater && updater->isStarted()) {
            delete updater;
        }
    }
    SimSurface& surface(std::size_t i) { return *agent.stream().surfaces.at(i); }
    std::vector<testing::SeenCall> frameCalls() {
        std::vector<testing::SeenCall> frames;
        for (auto& call : agent.newManagerCalls()) {
            if (call.selector == kFrameAvailable) {
                frames.push_back(call);
            }
        }
        return frames;
    }

    testing::StreamHost agent;
    testing::ExceptionCounter delegate;
    tk::driver::DriverControlFactory controls;
    tk::driver::MemoryMapperFactory mappers;
    DisplayStreamFrameUpdaterImpl* updater = nullptr;
};

TEST_F(FrameUpdater, StartMakesOneCursorlessBgraStreamStartedTwiceAndClearsTheDriver) {
    auto& stream = agent.stream();
    EXPECT_EQ(stream.width, 1440u);
    EXPECT_EQ(stream.height, 900u);
    EXPECT_EQ(stream.pixelFormat, 0x42475241);
    EXPECT_EQ(stream.queue, agent.host().dispatch().dispatch_get_main_queue());
    EXPECT_TRUE(stream.properties.get(platform::kCGDisplayStreamShowCursor)
                    .isSameObject(platform::kCFBooleanFalse()));
    EXPECT_EQ(stream.startCalls, 2);
    EXPECT_TRUE(updater->isStarted());
    // The mode was read and given back.
    ASSERT_EQ(agent.host().quartz().modes().size(), 1u);
    EXPECT_TRUE(agent.host().quartz().modes()[0]->isFreed());
    const auto& calls = agent.host().ioKit().calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].selector, 10u);
    EXPECT_EQ(agent.host().ioKit().openConnections(), 1u);
}

TEST_F(FrameUpdater, AFrameGoesOutWithItsMemoryAndComesBackWithTheRelease) {
    agent.frames({{CGRectMake(10, 20, 30, 40)}});
    auto& first = surface(0);
    EXPECT_EQ(first.useCount(), 1);
    EXPECT_EQ(first.retainCount(), 2);
    auto* update = agent.host().quartz().updates().back().get();
    EXPECT_EQ(update->retainCount(), 1);

    const auto driver = agent.newDriverCalls();
    ASSERT_EQ(driver.size(), 1u);
    EXPECT_EQ(driver[0].selector, 7u);
    EXPECT_EQ(driver[0].address, address(first));
    EXPECT_EQ(driver[0].size, first.allocSize());
    const auto frames = frameCalls();
    ASSERT_EQ(frames.size(), 1u);
    const auto& args = frames[0].arguments;
    EXPECT_EQ(args[0].unsignedIntValue(), kDisplay);
    EXPECT_EQ(rectOf(args[1]), CGRectMake(10, 20, 30, 40));
    EXPECT_EQ(static_cast<std::uint64_t>(args[2].longLongValue()), address(first));
    EXPECT_EQ(args[3].unsignedIntValue(), first.bytesPerRow());
    EXPECT_EQ(static_cast<std::uint64_t>(args[4].longLongValue()), kToken);

    updater->releaseFrameSurface(address(first));
    const auto released = agent.newDriverCalls();
    ASSERT_EQ(released.size(), 1u);
    EXPECT_EQ(released[0].selector, 9u);
    EXPECT_EQ(released[0].address, address(first));
    EXPECT_EQ(first.useCount(), 0);
    EXPECT_EQ(first.retainCount(), 1);
    EXPECT_TRUE(update->isFreed());

    // Ready again: the next frame goes at once.
    agent.frames({{CGRectMake(1, 1, 1, 1)}});
    EXPECT_EQ(frameCalls().size(), 1u);
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdater, FiveFramesWhileBusyMergeIntoOneSendOfTheFifth) {
    agent.frames({{CGRectMake(0, 0, 1, 1)}});
    ASSERT_EQ(frameCalls().size(), 1u);
    agent.newDriverCalls();
    const std::size_t updatesBefore = agent.host().quartz().updates().size();
    agent.frames({{CGRectMake(1, 0, 1, 1)},
                  {CGRectMake(2, 0, 1, 1)},
                  {CGRectMake(3, 0, 1, 1)},
                  {CGRectMake(4, 0, 1, 1)},
                  {CGRectMake(5, 0, 1, 1)}});
    ASSERT_EQ(agent.stream().surfaces.size(), 6u);
    // The four replaced surfaces went back in the handler; the fifth waits in reserve.
    for (std::size_t i = 1; i <= 4; ++i) {
        EXPECT_EQ(surface(i).useCount(), 0) << i;
        EXPECT_EQ(surface(i).retainCount(), 1) << i;
    }
    EXPECT_EQ(surface(5).useCount(), 1);
    EXPECT_EQ(surface(5).retainCount(), 2);
    EXPECT_TRUE(agent.newManagerCalls().empty());
    EXPECT_EQ(agent.newDriverCalls().size(), 0u);

    updater->releaseFrameSurface(address(surface(0)));
    const auto calls = agent.newManagerCalls();
    ASSERT_EQ(calls.size(), 5u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(calls[i].selector, kRefreshed);
        EXPECT_EQ(rectOf(calls[i].arguments[0]), CGRectMake(i + 1, 0, 1, 1));
        EXPECT_EQ(calls[i].arguments[1].unsignedIntValue(), kDisplay);
    }
    EXPECT_EQ(calls[4].selector, kFrameAvailable);
    EXPECT_EQ(rectOf(calls[4].arguments[1]), CGRectMake(5, 0, 1, 1));
    EXPECT_EQ(static_cast<std::uint64_t>(calls[4].arguments[2].longLongValue()),
              address(surface(5)));
    const auto driver = agent.newDriverCalls();
    ASSERT_EQ(driver.size(), 2u);
    EXPECT_EQ(driver[0].selector, 9u);
    EXPECT_EQ(driver[1].selector, 7u);
    EXPECT_EQ(driver[1].address, address(surface(5)));

    // The five platform updates are all given up; each of the four merges keeps the one
    // reference that the merge retains beyond the one it releases.
    const auto& updates = agent.host().quartz().updates();
    ASSERT_EQ(updates.size(), updatesBefore + 5 + 4);
    for (std::size_t i = updatesBefore; i < updatesBefore + 5; ++i) {
        EXPECT_TRUE(updates[i]->isFreed()) << i;
    }
    for (std::size_t i = updatesBefore + 5; i < updates.size(); ++i) {
        EXPECT_EQ(updates[i]->retainCount(), i + 1 == updates.size() ? 2 : 1) << i;
    }
    updater->releaseFrameSurface(address(surface(5)));
    EXPECT_EQ(updates.back()->retainCount(), 1);
    EXPECT_EQ(surface(5).useCount(), 0);
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdater, AllRectanglesButTheLastGoAsRefreshCallsAndNoneGivesTheNullRect) {
    agent.frames({{CGRectMake(1, 2, 3, 4), CGRectMake(5, 6, 7, 8), CGRectMake(9, 10, 11, 12)}});
    auto calls = agent.newManagerCalls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].selector, kRefreshed);
    EXPECT_EQ(rectOf(calls[0].arguments[0]), CGRectMake(1, 2, 3, 4));
    EXPECT_EQ(calls[1].selector, kRefreshed);
    EXPECT_EQ(rectOf(calls[1].arguments[0]), CGRectMake(5, 6, 7, 8));
    EXPECT_EQ(calls[2].selector, kFrameAvailable);
    EXPECT_EQ(rectOf(calls[2].arguments[1]), CGRectMake(9, 10, 11, 12));

    updater->releaseFrameSurface(address(surface(0)));
    agent.frames({{}});
    calls = agent.newManagerCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_TRUE(platform::CGRectIsNull(rectOf(calls[0].arguments[1])));
}

TEST_F(FrameUpdater, ReleaseOfZeroOrAnotherAddressAdvancesWithoutGivingTheFrameBack) {
    agent.frames({{CGRectMake(0, 0, 1, 1)}});
    ASSERT_EQ(frameCalls().size(), 1u);
    agent.newDriverCalls();

    // 0: ready again, no driver call, the sent frame untouched.
    updater->releaseFrameSurface(0);
    EXPECT_TRUE(agent.newDriverCalls().empty());
    EXPECT_EQ(surface(0).useCount(), 1);
    agent.frames({{CGRectMake(0, 0, 2, 2)}});
    ASSERT_EQ(frameCalls().size(), 1u);
    agent.newDriverCalls();

    // Another address: the driver forgets it, the frame with the Manager stays held,
    // and the hand-shake goes on.
    updater->releaseFrameSurface(0x1234);
    const auto driver = agent.newDriverCalls();
    ASSERT_EQ(driver.size(), 1u);
    EXPECT_EQ(driver[0].selector, 9u);
    EXPECT_EQ(driver[0].address, 0x1234u);
    EXPECT_EQ(surface(0).useCount(), 1);
    EXPECT_EQ(surface(1).useCount(), 1);
    agent.frames({{CGRectMake(0, 0, 3, 3)}});
    EXPECT_EQ(frameCalls().size(), 1u);
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdater, ASecondReleaseOfOneAddressDropsNothingMore) {
    agent.frames({{CGRectMake(0, 0, 1, 1)}});
    const auto sent = address(surface(0));
    updater->releaseFrameSurface(sent);
    EXPECT_EQ(surface(0).useCount(), 0);
    EXPECT_EQ(surface(0).retainCount(), 1);
    updater->releaseFrameSurface(sent);
    // The driver is told again; the frame's references went with the first release.
    EXPECT_EQ(surface(0).useCount(), 0);
    EXPECT_EQ(surface(0).retainCount(), 1);
    EXPECT_FALSE(surface(0).isFreed());
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdater, StopGivesTheReserveBackAndTheEndGivesBackTheFrameWithTheManager) {
    agent.frames({{CGRectMake(0, 0, 1, 1)}, {CGRectMake(1, 1, 1, 1)}});
    ASSERT_EQ(surface(1).useCount(), 1);
    ASSERT_EQ(frameCalls().size(), 1u);
    auto* reserveUpdate = agent.host().quartz().updates().back().get();
    // A frame already queued reaches the handler after the stop.
    agent.host().quartz().deliverFrame(kDisplay, {CGRectMake(2, 2, 2, 2)});
    updater->stop();
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG DisplayStreamFrameUpdaterImpl::stop for: 0x4280f80"}));
    EXPECT_EQ(surface(1).useCount(), 0);
    EXPECT_EQ(surface(1).retainCount(), 1);
    EXPECT_TRUE(reserveUpdate->isFreed());
    EXPECT_EQ(agent.stream().stopCalls, 1);

    agent.host().runLoop().runPending();
    // The late frame went into the reserve; the stopped status then ended the updater
    // 100 ns later, and its driver connection with it.
    EXPECT_EQ(agent.newLines(), (Lines{"DEBUG display stream frame stopped for: 0x4280f80"}));
    EXPECT_EQ(agent.host().ioKit().openConnections(), 1u);
    agent.host().runLoop().advance(100);
    EXPECT_EQ(agent.host().ioKit().openConnections(), 0u);
    updater = nullptr;
    // The updater's end gave back the frame with the Manager and the late frame in the
    // reserve: nobody could release them any more.
    EXPECT_EQ(surface(0).useCount(), 0);
    EXPECT_EQ(surface(0).retainCount(), 1);
    EXPECT_EQ(surface(2).useCount(), 0);
    EXPECT_EQ(surface(2).retainCount(), 1);
    EXPECT_TRUE(agent.newManagerCalls().empty());
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdater, ASecondStartRunsTheSequenceAgainOnTheSameObject) {
    agent.frames({{CGRectMake(0, 0, 1, 1)}});
    ASSERT_EQ(frameCalls().size(), 1u);
    agent.newDriverCalls();
    auto& oldStream = agent.stream();
    updater->start(kDisplay, kAdapter, 5);
    auto& newStream = agent.stream();
    ASSERT_NE(&oldStream, &newStream);
    EXPECT_EQ(oldStream.stopCalls, 1);
    EXPECT_EQ(newStream.startCalls, 2);
    const auto driver = agent.newDriverCalls();
    ASSERT_EQ(driver.size(), 1u);
    EXPECT_EQ(driver[0].selector, 10u);
    EXPECT_EQ(agent.host().ioKit().openConnections(), 1u);

    // The old stream's stopped status finds nobody; the updater lives on, still busy.
    agent.host().runLoop().advance(1000);
    EXPECT_EQ(oldStream.stoppedDelivered, 1);
    EXPECT_TRUE(updater->isStarted());
    agent.frames({{CGRectMake(7, 7, 7, 7)}});
    EXPECT_TRUE(frameCalls().empty());
    updater->releaseFrameSurface(address(*oldStream.surfaces[0]));
    const auto frames = frameCalls();
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(static_cast<std::uint64_t>(frames[0].arguments[4].longLongValue()), 5u);
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdater, AProxyExceptionAmongTheRectanglesSkipsOnlyThatRectangle) {
    // The Manager answers the first refresh and raises on the second.
    auto& manager = agent.host().manager();
    manager.addCallHandler(
        [&manager, armed = false](const platform::sim::SimManagerEvent& event) mutable {
            if (event.name == kRefreshed && !armed) {
                armed = true;
                manager.failCall(kRefreshed, "busy", 1);
            }
        });
    agent.frames({{CGRectMake(1, 1, 1, 1), CGRectMake(2, 2, 2, 2), CGRectMake(3, 3, 3, 3),
                   CGRectMake(4, 4, 4, 4)}});
    const auto calls = agent.newManagerCalls();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(calls[0].selector, kRefreshed);
    EXPECT_EQ(calls[0].raised, "");
    EXPECT_EQ(calls[1].selector, kRefreshed);
    EXPECT_EQ(rectOf(calls[1].arguments[0]), CGRectMake(2, 2, 2, 2));
    EXPECT_EQ(calls[1].raised, "busy");
    EXPECT_EQ(calls[2].selector, kRefreshed);
    EXPECT_EQ(rectOf(calls[2].arguments[0]), CGRectMake(3, 3, 3, 3));
    EXPECT_EQ(calls[2].raised, "");
    EXPECT_EQ(calls[3].selector, kFrameAvailable);
    EXPECT_EQ(rectOf(calls[3].arguments[1]), CGRectMake(4, 4, 4, 4));
    EXPECT_EQ(calls[3].raised, "");
    EXPECT_EQ(delegate.count, 1);
    EXPECT_EQ(agent.newLines(), (Lines{"ERROR Exception: busy"}));
    // The frame was sent: it stays held until its release.
    EXPECT_EQ(surface(0).useCount(), 1);
    updater->releaseFrameSurface(address(surface(0)));
    EXPECT_EQ(surface(0).useCount(), 0);
}

TEST_F(FrameUpdater, AFailedSendLeavesTheManagerReadyAndTheNextFrameTakesItsPlace) {
    agent.host().manager().failCall(kFrameAvailable, "gone", 1);
    agent.frames({{CGRectMake(1, 1, 1, 1)}});
    EXPECT_EQ(delegate.count, 1);
    EXPECT_EQ(agent.newLines(), (Lines{"ERROR Exception: gone"}));
    // Still ready, the frame kept: the next frame is sent at once and the first goes back.
    EXPECT_EQ(surface(0).useCount(), 1);
    agent.frames({{CGRectMake(2, 2, 2, 2)}});
    const auto frames = frameCalls();
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].raised, "gone");
    EXPECT_EQ(frames[1].raised, "");
    EXPECT_EQ(surface(0).useCount(), 0);
    EXPECT_EQ(surface(0).retainCount(), 1);
    EXPECT_EQ(surface(1).useCount(), 1);
    updater->releaseFrameSurface(address(surface(1)));
    EXPECT_EQ(surface(1).useCount(), 0);
    EXPECT_TRUE(agent.host().faults().empty());
}

TEST_F(FrameUpdater, WithoutADriverNothingIsSentAndEveryFrameTriesAgain) {
    platform::sim::SimDisplay other;
    other.id = 0x77;
    other.pixelWidth = 16;
    other.pixelHeight = 16;
    agent.host().quartz().setDisplay(other);
    auto* closed = new DisplayStreamFrameUpdaterImpl(agent.proxy(), &delegate, &controls, &mappers);
    // No driver of index 9: the connection does not open.
    closed->start(0x77, 9, 1);
    EXPECT_TRUE(agent.newDriverCalls().empty());
    agent.frames({{CGRectMake(1, 1, 1, 1)}, {CGRectMake(2, 2, 2, 2)}}, 0x77);
    EXPECT_EQ(agent.newLines(),
              (Lines{"DEBUG DisplayStreamFrameUpdaterImpl::start for: 0x77",
                     "ERROR Error in preparing memory", "ERROR Error in preparing memory"}));
    EXPECT_TRUE(agent.newManagerCalls().empty());
    EXPECT_TRUE(agent.newDriverCalls().empty());
    delete closed;
}

TEST_F(FrameUpdater, WithoutAProxyTheMemoryIsPreparedAndNothingElseHappens) {
    auto* silent =
        new DisplayStreamFrameUpdaterImpl(platform::ProxyRef(), &delegate, &controls, &mappers);
    silent->start(kDisplay, kAdapter, 1);
    agent.newDriverCalls();
    agent.newManagerCalls();
    agent.frames({{CGRectMake(1, 1, 1, 1)}});
    const auto driver = agent.newDriverCalls();
    // Both updaters got the frame: the fixture's sends it, the silent one prepares only.
    EXPECT_EQ(driver.size(), 2u);
    EXPECT_EQ(frameCalls().size(), 1u);
    delete silent;
}

TEST_F(FrameUpdater, OnlyACompleteFrameWithASurfaceCounts) {
    agent.logger().setVerbosity(sys::Logger::VERBOSE, false);
    agent.host().quartz().deliverFrame(kDisplay, {},
                                       platform::kCGDisplayStreamFrameStatusFrameIdle);
    agent.host().quartz().deliverFrame(kDisplay, {},
                                       platform::kCGDisplayStreamFrameStatusFrameBlank);
    agent.host().runLoop().runPending();
    // Each status is named by its number, and nothing else is written.
    EXPECT_EQ(
        agent.newLines(),
        (Lines{"VERBOSE DisplayStreamFrameUpdaterImpl::frameAvailableHandler with status 1",
               "VERBOSE DisplayStreamFrameUpdaterImpl::frameAvailableHandler with status 2"}));
    updater->frameAvailableHandler(DisplayStreamFrameUpdaterImpl::FrameStatus::FrameComplete, 0,
                                   nullptr, nullptr);
    updater->frameAvailableHandler(static_cast<DisplayStreamFrameUpdaterImpl::FrameStatus>(9), 0,
                                   nullptr, nullptr);
    EXPECT_EQ(
        agent.newLines(),
        (Lines{"VERBOSE DisplayStreamFrameUpdaterImpl::frameAvailableHandler with status 0",
               "VERBOSE DisplayStreamFrameUpdaterImpl::frameAvailableHandler with status 9"}));
    EXPECT_TRUE(agent.newManagerCalls().empty());
    EXPECT_TRUE(agent.newDriverCalls().empty());
    // Readiness untouched: the next frame goes at once.
    agent.frames({{CGRectMake(1, 1, 1, 1)}});
    EXPECT_EQ(frameCalls().size(), 1u);
}

TEST(FrameUpdaterStart, ADisplayIdOfZeroEndsTheProcess) {
    testing::StreamHost agent;
    tk::driver::DriverControlFactory controls;
    tk::driver::MemoryMapperFactory mappers;
    DisplayStreamFrameUpdaterImpl updater(agent.proxy(), nullptr, &controls, &mappers);
    EXPECT_THROW(updater.start(0, kAdapter, 1), platform::sim::SimAbort);
    EXPECT_TRUE(agent.host().quartz().streams().empty());
}

}  // namespace
}  // namespace qn::app::osx::qnuapp
