#include <gtest/gtest.h>

#include <vector>

#include "platform/Backend.h"
#include "platform/Dispatch.h"
#include "platform/IOSurface.h"
#include "platform/Quartz.h"
#include "platform/sim/SimHost.h"

namespace qn::platform::sim {
namespace {

constexpr CGDirectDisplayID kDisplay = 5;

// A handler that keeps what it is given the way a frame updater does: a use count and a
// reference on the surface, a reference on the update.
class SimDisplayStreamTest : public ::testing::Test {
  protected:
    SimDisplayStreamTest() {
        SimDisplay display;
        display.id = kDisplay;
        display.pixelWidth = 100;
        display.pixelHeight = 50;
        host.quartz().setDisplay(display);
    }

    CGDisplayStreamRef createStream() {
        return quartz().CGDisplayStreamCreateWithDispatchQueue(
            kDisplay, 100, 50, 0x42475241, Value::dictionary(),
            dispatch().dispatch_get_main_queue(),
            [this](CGDisplayStreamFrameStatus status, std::uint64_t, IOSurfaceRef surface,
                   CGDisplayStreamUpdateRef update) {
                statuses.push_back(status);
                if (status == kCGDisplayStreamFrameStatusFrameComplete) {
                    ioSurface().IOSurfaceIncrementUseCount(surface);
                    CFRetain(surface);
                    CFRetain(update);
                    held.push_back({surface, update});
                }
            });
    }
    void giveBack(std::size_t i) {
        ioSurface().IOSurfaceDecrementUseCount(held[i].first);
        CFRelease(held[i].first);
        CFRelease(held[i].second);
    }

    SimHost host;
    ScopedBackend backend{host.backend()};
    std::vector<CGDisplayStreamFrameStatus> statuses;
    std::vector<std::pair<IOSurfaceRef, CGDisplayStreamUpdateRef>> held;
};

TEST_F(SimDisplayStreamTest, CountsAreExactAcrossDeliveryAndGivingBack) {
    auto* stream = createStream();
    quartz().CGDisplayStreamStart(stream);
    host.quartz().deliverFrame(kDisplay, {CGRectMake(0, 0, 10, 10)});
    EXPECT_TRUE(statuses.empty()) << "frames arrive on the queue, not inside the push";
    host.runLoop().runPending();

    ASSERT_EQ(held.size(), 1u);
    auto* surface = held[0].first;
    EXPECT_EQ(CFGetRetainCount(surface), 2);         // the stream's and the handler's
    EXPECT_EQ(CFGetRetainCount(held[0].second), 1);  // the host let go of its own
    EXPECT_EQ(ioSurface().IOSurfaceGetUseCount(surface), 1);
    EXPECT_EQ(ioSurface().IOSurfaceGetBytesPerRow(surface) % 64, 0u);
    EXPECT_GE(ioSurface().IOSurfaceGetAllocSize(surface), 100u * 4 * 50);

    // While the first surface is in use, the next frame gets another.
    host.quartz().deliverFrame(kDisplay, {CGRectMake(5, 5, 1, 1)});
    host.runLoop().runPending();
    ASSERT_EQ(held.size(), 2u);
    EXPECT_NE(held[1].first, surface);

    giveBack(0);
    EXPECT_EQ(CFGetRetainCount(surface), 1);
    EXPECT_EQ(ioSurface().IOSurfaceGetUseCount(surface), 0);
    EXPECT_EQ(CFGetRetainCount(held[0].second), 0);

    // A surface no longer in use is written again.
    host.quartz().deliverFrame(kDisplay, {});
    host.runLoop().runPending();
    EXPECT_EQ(held[2].first, surface);
    EXPECT_TRUE(host.faults().empty());

    // Giving the same frame back twice is caught.
    giveBack(0);
    giveBack(0);
    EXPECT_FALSE(host.faults().empty());
}

TEST_F(SimDisplayStreamTest, MergedUpdateIsOwnedByTheCallerAndHoldsBothRectangleSets) {
    auto* stream = createStream();
    quartz().CGDisplayStreamStart(stream);
    host.quartz().deliverFrame(kDisplay, {CGRectMake(0, 0, 1, 1), CGRectMake(1, 1, 1, 1)});
    host.quartz().deliverFrame(kDisplay, {CGRectMake(2, 2, 2, 2)});
    host.runLoop().runPending();

    auto* merged = quartz().CGDisplayStreamUpdateCreateMergedUpdate(held[0].second, held[1].second);
    EXPECT_EQ(CFGetRetainCount(merged), 1);
    std::size_t count = 0;
    const auto* rects =
        quartz().CGDisplayStreamUpdateGetRects(merged, kCGDisplayStreamUpdateDirtyRects, &count);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(rects[0], CGRectMake(0, 0, 1, 1));
    EXPECT_EQ(rects[2], CGRectMake(2, 2, 2, 2));
    EXPECT_EQ(
        quartz().CGDisplayStreamUpdateGetRects(merged, kCGDisplayStreamUpdateMovedRects, &count),
        nullptr);
    EXPECT_EQ(count, 0u);
}

TEST_F(SimDisplayStreamTest, StopDeliversTheStoppedStatusOnceAfterQueuedFramesAndNothingAfter) {
    auto* stream = createStream();
    host.quartz().deliverFrame(kDisplay, {});
    host.runLoop().runPending();
    EXPECT_TRUE(statuses.empty()) << "a stream not started delivers nothing";

    quartz().CGDisplayStreamStart(stream);
    quartz().CGDisplayStreamStart(stream);
    host.quartz().deliverFrame(kDisplay, {}, kCGDisplayStreamFrameStatusFrameIdle);
    host.quartz().deliverFrame(kDisplay, {});
    quartz().CGDisplayStreamStop(stream);
    quartz().CGDisplayStreamStop(stream);
    host.quartz().deliverFrame(kDisplay, {});
    host.runLoop().runPending();

    EXPECT_EQ(statuses,
              (std::vector<CGDisplayStreamFrameStatus>{kCGDisplayStreamFrameStatusFrameIdle,
                                                       kCGDisplayStreamFrameStatusFrameComplete,
                                                       kCGDisplayStreamFrameStatusStopped}));
    EXPECT_EQ(host.quartz().streams()[0]->startCalls, 2);
}

TEST_F(SimDisplayStreamTest, CopiedModesAreCountedAndANullModeReadsZero) {
    auto* mode = quartz().CGDisplayCopyDisplayMode(kDisplay);
    EXPECT_EQ(quartz().CGDisplayModeGetPixelWidth(mode), 100u);
    EXPECT_EQ(CFGetRetainCount(mode), 1);
    quartz().CGDisplayModeRelease(mode);
    EXPECT_EQ(CFGetRetainCount(mode), 0);
    EXPECT_EQ(quartz().CGDisplayCopyDisplayMode(99), nullptr);
    EXPECT_EQ(quartz().CGDisplayModeGetRefreshRate(nullptr), 0.0);
    quartz().CGDisplayModeRelease(nullptr);
    EXPECT_TRUE(host.faults().empty());
    EXPECT_EQ(quartz().CGDisplayModeGetPixelHeight(mode), 0u);
    EXPECT_FALSE(host.faults().empty()) << "use after the last release is caught";
}

}  // namespace
}  // namespace qn::platform::sim
