#include "platform/linux/x11/DisplayChanges.h"

namespace qn::platform::x11 {

std::vector<DisplayChange> deriveDisplayChanges(const DisplayOutputs& before,
                                                std::uint32_t mainBefore,
                                                const DisplayOutputs& after,
                                                std::uint32_t mainAfter) {
    std::vector<DisplayChange> changes;
    for (const auto& now : after) {
        CGDisplayChangeSummaryFlags flags = 0;
        const auto* was = findOutput(before, now.id);
        if (!was) {
            flags |= kCGDisplayAddFlag | kCGDisplayEnabledFlag;
        } else {
            if (was->mode != now.mode || was->width != now.width || was->height != now.height ||
                was->pixelWidth != now.pixelWidth || was->pixelHeight != now.pixelHeight) {
                flags |= kCGDisplaySetModeFlag;
            }
            if (was->x != now.x || was->y != now.y) {
                flags |= kCGDisplayMovedFlag;
            }
        }
        const bool mirroredBefore = was && isMirrored(before, *was);
        const bool mirroredNow = isMirrored(after, now);
        if (mirroredNow && !mirroredBefore) {
            flags |= kCGDisplayMirrorFlag;
        } else if (!mirroredNow && mirroredBefore) {
            flags |= kCGDisplayUnMirrorFlag;
        }
        if (now.id == mainAfter && mainAfter != mainBefore) {
            flags |= kCGDisplaySetMainFlag;
        }
        if (flags != 0) {
            changes.push_back({now.id, flags});
        }
    }
    for (const auto& was : before) {
        if (!findOutput(after, was.id)) {
            changes.push_back({was.id, kCGDisplayRemoveFlag | kCGDisplayDisabledFlag});
        }
    }
    return changes;
}

}  // namespace qn::platform::x11
