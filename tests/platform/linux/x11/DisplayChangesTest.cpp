#include "platform/linux/x11/DisplayChanges.h"

#include <gtest/gtest.h>

namespace qn::platform::x11 {
namespace {

DisplayOutput output(std::uint32_t id, std::uint32_t crtc, std::int32_t x, std::uint32_t width,
                     std::uint32_t mode = 100) {
    DisplayOutput o;
    o.id = id;
    o.crtc = crtc;
    o.mode = mode;
    o.x = x;
    o.width = o.pixelWidth = width;
    o.height = o.pixelHeight = 768;
    return o;
}

using Changes = std::vector<DisplayChange>;

TEST(DisplayChanges, PlugAndUnplugGiveAddEnabledAndRemoveDisabled) {
    const DisplayOutputs one{output(10, 1, 0, 1024)};
    const DisplayOutputs two{output(10, 1, 0, 1024), output(11, 2, 1024, 1024)};
    EXPECT_EQ(deriveDisplayChanges(one, 10, two, 10),
              (Changes{{11, kCGDisplayAddFlag | kCGDisplayEnabledFlag}}));
    EXPECT_EQ(deriveDisplayChanges(two, 10, one, 10),
              (Changes{{11, kCGDisplayRemoveFlag | kCGDisplayDisabledFlag}}));
}

TEST(DisplayChanges, ModeOrSizeChangeGivesSetModeAndOriginChangeGivesMoved) {
    const DisplayOutputs before{output(10, 1, 0, 1024), output(11, 2, 1024, 1024)};
    // Same size under another mode id (a new timing) is a mode change too.
    DisplayOutputs otherMode{output(10, 1, 0, 1024, 101), output(11, 2, 1024, 1024)};
    EXPECT_EQ(deriveDisplayChanges(before, 10, otherMode, 10),
              (Changes{{10, kCGDisplaySetModeFlag}}));
    // A rotation keeps the mode and changes the CRTC's size.
    DisplayOutputs rotated = before;
    std::swap(rotated[0].width, rotated[0].height);
    EXPECT_EQ(deriveDisplayChanges(before, 10, rotated, 10),
              (Changes{{10, kCGDisplaySetModeFlag}}));
    // A wider first display pushes the second one along.
    const DisplayOutputs wider{output(10, 1, 0, 1280, 102), output(11, 2, 1280, 1024)};
    EXPECT_EQ(deriveDisplayChanges(before, 10, wider, 10),
              (Changes{{10, kCGDisplaySetModeFlag}, {11, kCGDisplayMovedFlag}}));
}

TEST(DisplayChanges, MirrorAndUnmirrorBySharedCrtcOrSameRectangle) {
    const DisplayOutputs apart{output(10, 1, 0, 1024), output(11, 2, 1024, 1024)};
    const DisplayOutputs sameRect{output(10, 1, 0, 1024), output(11, 2, 0, 1024)};
    const DisplayOutputs sharedCrtc{output(10, 1, 0, 1024), output(11, 1, 0, 1024)};
    EXPECT_EQ(
        deriveDisplayChanges(apart, 10, sameRect, 10),
        (Changes{{10, kCGDisplayMirrorFlag}, {11, kCGDisplayMovedFlag | kCGDisplayMirrorFlag}}));
    EXPECT_EQ(deriveDisplayChanges(sameRect, 10, apart, 10),
              (Changes{{10, kCGDisplayUnMirrorFlag},
                       {11, kCGDisplayMovedFlag | kCGDisplayUnMirrorFlag}}));
    // Moving from a look-alike CRTC to a shared one is no change of mirroring.
    EXPECT_EQ(deriveDisplayChanges(sameRect, 10, sharedCrtc, 10), Changes{});
    // A display plugged in as a mirror is added and mirrored, its partner mirrored.
    const DisplayOutputs alone{output(10, 1, 0, 1024)};
    EXPECT_EQ(deriveDisplayChanges(alone, 10, sharedCrtc, 10),
              (Changes{{10, kCGDisplayMirrorFlag},
                       {11, kCGDisplayAddFlag | kCGDisplayEnabledFlag | kCGDisplayMirrorFlag}}));
    // Unplugging one of a pair unmirrors the one that stays.
    EXPECT_EQ(deriveDisplayChanges(sharedCrtc, 10, alone, 10),
              (Changes{{10, kCGDisplayUnMirrorFlag},
                       {11, kCGDisplayRemoveFlag | kCGDisplayDisabledFlag}}));
}

TEST(DisplayChanges, NewMainDisplayGetsSetMainAndNothingChangedGivesNothing) {
    const DisplayOutputs two{output(10, 1, 0, 1024), output(11, 2, 1024, 1024)};
    EXPECT_EQ(deriveDisplayChanges(two, 10, two, 11), (Changes{{11, kCGDisplaySetMainFlag}}));
    EXPECT_EQ(deriveDisplayChanges(two, 10, two, 10), Changes{});
    EXPECT_EQ(deriveDisplayChanges({}, 0, {}, 0), Changes{});
}

TEST(DisplayChanges, AddedAndKeptInNewOrderThenRemovedInOldOrder) {
    const DisplayOutputs before{output(30, 3, 0, 1024), output(20, 2, 1024, 1024),
                                output(10, 1, 2048, 1024)};
    const DisplayOutputs after{output(40, 4, 2048, 1024), output(30, 3, 0, 1024)};
    const auto changes = deriveDisplayChanges(before, 30, after, 30);
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(changes[0].display, 40u);
    EXPECT_EQ(changes[1].display, 20u);
    EXPECT_EQ(changes[2].display, 10u);
}

}  // namespace
}  // namespace qn::platform::x11
