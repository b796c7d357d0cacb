#include <gtest/gtest.h>

#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"
#include "tk/quartz/CGDisplayStream.h"
#include "tk/quartz/ICGDisplayMode.h"

namespace qn::tk::osx108 {
namespace {

constexpr platform::CGDirectDisplayID kDisplay = 0x2B;

struct Seen {
    ICGDisplayStream::FrameStatus status;
    platform::IOSurfaceRef surface;
    platform::CGDisplayStreamUpdateRef update;
};

class QuartzWrappers : public ::testing::Test {
  protected:
    QuartzWrappers() {
        platform::sim::SimDisplaySpec spec;
        spec.display.id = kDisplay;
        spec.display.pixelWidth = 64;
        spec.display.pixelHeight = 32;
        world.placeDisplay(spec);
    }
    std::unique_ptr<ICGDisplayStream> makeStream() {
        return ICGDisplayStream::create(
            kDisplay, 64, 32, 0x42475241, platform::Value::dictionary(),
            host.dispatch().dispatch_get_main_queue(),
            [this](ICGDisplayStream::FrameStatus status, std::uint64_t,
                   platform::IOSurfaceRef surface, platform::CGDisplayStreamUpdateRef update) {
                seen.push_back({status, surface, update});
            });
    }

    platform::sim::SimHost host;
    platform::sim::SimWorld world{host};
    platform::ScopedBackend backend{host.backend()};
    std::vector<Seen> seen;
};

TEST_F(QuartzWrappers, TheStreamRunsFromItsBuildingAndStopsWithIt) {
    auto stream = makeStream();
    ASSERT_EQ(host.quartz().streams().size(), 1u);
    const auto& platformStream = *host.quartz().streams()[0];
    EXPECT_EQ(platformStream.startCalls, 1);
    EXPECT_TRUE(platformStream.running);
    EXPECT_EQ(platformStream.width, 64u);
    EXPECT_EQ(platformStream.pixelFormat, 0x42475241);
    stream->start();
    EXPECT_EQ(platformStream.startCalls, 2);

    host.quartz().deliverFrame(kDisplay, {platform::CGRectMake(1, 2, 3, 4)});
    host.runLoop().runPending();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].status, ICGDisplayStream::FrameComplete);
    EXPECT_EQ(seen[0].surface, platformStream.surfaces[0].get());

    stream.reset();
    EXPECT_EQ(platformStream.stopCalls, 1);
    EXPECT_FALSE(platformStream.running);
    // The stopped status still comes from the platform, but the handler went with the
    // wrapper: nothing is called on a wrapper that is gone.
    host.runLoop().runPending();
    EXPECT_EQ(platformStream.stoppedDelivered, 1);
    EXPECT_EQ(seen.size(), 1u);
    // The platform's stream reference is kept, as it always was.
    EXPECT_EQ(platformStream.retainCount(), 1);
    EXPECT_TRUE(host.faults().empty());
}

TEST_F(QuartzWrappers, StopDeliversTheStoppedStatusToALiveWrapper) {
    auto stream = makeStream();
    stream->stop();
    host.runLoop().runPending();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].status, ICGDisplayStream::Stopped);
    EXPECT_EQ(seen[0].surface, nullptr);
}

TEST_F(QuartzWrappers, RectanglesAndMergesPassThroughUnchanged) {
    auto stream = makeStream();
    host.quartz().deliverFrame(kDisplay, {platform::CGRectMake(1, 2, 3, 4)});
    host.quartz().deliverFrame(
        kDisplay, {platform::CGRectMake(5, 6, 7, 8), platform::CGRectMake(9, 9, 9, 9)});
    // Kept beyond the handler, as a caller that retains them would.
    auto* first = host.quartz().updates()[0].get();
    auto* second = host.quartz().updates()[1].get();
    first->retain();
    second->retain();
    host.runLoop().runPending();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1].update, second);
    std::size_t count = 0;
    const auto* rects = stream->getRects(second, 2, &count);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(rects[1], platform::CGRectMake(9, 9, 9, 9));
    auto* merged = stream->createMergedUpdate(first, second);
    rects = stream->getRects(merged, 2, &count);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(rects[0], platform::CGRectMake(1, 2, 3, 4));
    EXPECT_EQ(rects[2], platform::CGRectMake(9, 9, 9, 9));
    // Owned by the caller.
    EXPECT_EQ(merged->retainCount(), 1);
    EXPECT_TRUE(host.faults().empty());
}

TEST_F(QuartzWrappers, TheModeGivesThePixelSizeAndIsReleasedWithTheObject) {
    {
        auto mode = ICGDisplayMode::create(kDisplay);
        EXPECT_EQ(mode->pixelWidth(), 64u);
        EXPECT_EQ(mode->pixelHeight(), 32u);
        ASSERT_EQ(host.quartz().modes().size(), 1u);
        EXPECT_EQ(host.quartz().modes()[0]->retainCount(), 1);
    }
    EXPECT_TRUE(host.quartz().modes()[0]->isFreed());
    // A display without a mode: sizes of 0, and a release of nothing.
    auto none = ICGDisplayMode::create(0x99);
    EXPECT_EQ(none->pixelWidth(), 0u);
    EXPECT_TRUE(host.faults().empty());
}

}  // namespace
}  // namespace qn::tk::osx108
