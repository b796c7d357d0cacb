#include <gtest/gtest.h>

#include "platform/linux/capture/DamageLedger.h"
#include "platform/linux/capture/X11DisplayStream.h"
#include "platform/linux/capture/X11DisplayStreams.h"
#include "platform/linux/capture/X11StreamUpdate.h"

namespace qn::platform::linux_host {
namespace {

using Bands = std::vector<RowBand>;

TEST(RowBands, JoinsTouchingRowsAndClipsToTheScreen) {
    EXPECT_EQ(rowBands({{0, 10, 5, 5}, {100, 14, 5, 6}, {3, 40, 1, 1}, {0, -5, 9, 7}}, 42),
              (Bands{{0, 2}, {10, 20}, {40, 41}}));
    // Empty rectangles and rows past the bottom give nothing.
    EXPECT_EQ(rowBands({{0, 3, 0, 5}, {0, 50, 5, 5}}, 42), Bands{});
    EXPECT_EQ(unite({{0, 4}, {10, 12}}, {{3, 10}, {20, 21}}), (Bands{{0, 12}, {20, 21}}));
}

TEST(DamageLedger, ASurfaceCatchesUpWithEverythingSinceItWasWritten) {
    DamageLedger ledger;
    ledger.reset(2, 100);
    // Frame 1 into slot 0, frame 2 into slot 1: each first written whole.
    EXPECT_EQ(ledger.take(0), (Bands{{0, 100}}));
    ledger.add({{0, 10, 4, 2}});
    EXPECT_EQ(ledger.take(1), (Bands{{0, 100}}));
    ledger.add({{0, 50, 4, 5}});
    // Slot 0 missed the damage of frames 2 and 3, slot 1 only that of frame 3.
    EXPECT_EQ(ledger.stale(1), (Bands{{50, 55}}));
    EXPECT_EQ(ledger.take(0), (Bands{{10, 12}, {50, 55}}));
    EXPECT_EQ(ledger.stale(0), Bands{});

    // A surface the pool makes later starts wholly stale; a failed write puts rows back.
    ledger.ensureSlots(3);
    EXPECT_EQ(ledger.stale(2), (Bands{{0, 100}}));
    const auto rows = ledger.take(1);
    ledger.add({{0, 60, 1, 1}});
    ledger.giveBack(1, rows);
    EXPECT_EQ(ledger.stale(1), (Bands{{50, 55}, {60, 61}}));
}

TEST(DirtyRects, LeaveOutWhatIsCoveredAndStayFew) {
    std::vector<PixelRect> dirty{{0, 0, 100, 100}};
    addDirty(dirty, {{10, 10, 5, 5}, {90, 90, 20, 20}, {0, 0, 0, 9}});
    EXPECT_EQ(dirty, (std::vector<PixelRect>{{0, 0, 100, 100}, {90, 90, 20, 20}}));
    addDirty(dirty, {{200, 5, 1, 1}}, 2);
    EXPECT_EQ(dirty, (std::vector<PixelRect>{{0, 0, 201, 110}}));
}

TEST(ClipToDisplay, KeepsThePartsOnTheDisplayInItsOwnPixels) {
    const DisplayArea area{100, 50, 200, 100, 0};
    EXPECT_EQ(clipToDisplay({{90, 40, 20, 20}, {0, 0, 50, 50}, {250, 120, 100, 100}}, area),
              (std::vector<PixelRect>{{0, 0, 10, 10}, {150, 70, 50, 30}}));
}

TEST(StreamUpdate, MergeUnitesBothOlderFirst) {
    X11StreamUpdate* first =
        X11StreamUpdate::create({CGRectMake(0, 0, 5, 5), CGRectMake(9, 9, 1, 1)});
    X11StreamUpdate* second =
        X11StreamUpdate::create({CGRectMake(9, 9, 1, 1), CGRectMake(20, 0, 2, 2)});
    auto* merged = static_cast<X11StreamUpdate*>(
        X11DisplayStreams::CGDisplayStreamUpdateCreateMergedUpdate(first, second));
    ASSERT_NE(merged, nullptr);
    EXPECT_EQ(merged->retainCount(), 1);
    std::size_t count = 0;
    const CGRect* rects = X11DisplayStreams::CGDisplayStreamUpdateGetRects(
        merged, kCGDisplayStreamUpdateDirtyRects, &count);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(rects[0], CGRectMake(0, 0, 5, 5));
    EXPECT_EQ(rects[1], CGRectMake(9, 9, 1, 1));
    EXPECT_EQ(rects[2], CGRectMake(20, 0, 2, 2));
    // X reports no moves; an update of nothing has no rectangles.
    EXPECT_EQ(X11DisplayStreams::CGDisplayStreamUpdateGetRects(
                  merged, kCGDisplayStreamUpdateMovedRects, &count),
              nullptr);
    EXPECT_EQ(count, 0u);
    auto* alone = static_cast<X11StreamUpdate*>(
        X11DisplayStreams::CGDisplayStreamUpdateCreateMergedUpdate(nullptr, second));
    EXPECT_EQ(alone->dirtyRects().size(), 2u);
    // The sources are left as they were.
    EXPECT_EQ(first->retainCount(), 1);
    for (auto* u : {first, second, merged, alone}) {
        u->release();
    }
}

}  // namespace
}  // namespace qn::platform::linux_host
