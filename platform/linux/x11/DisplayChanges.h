#pragma once
// The reconfiguration flags of each display, derived from the output lists before and
// after a change rather than from which event arrived: a monitor may come or go with
// nothing but a ConfigureNotify of the root.

#include <vector>

#include "platform/Quartz.h"
#include "platform/linux/x11/DisplayOutput.h"

namespace qn::platform::x11 {

struct DisplayChange {
    CGDirectDisplayID display = 0;
    CGDisplayChangeSummaryFlags flags = 0;
    bool operator==(const DisplayChange&) const = default;
};

// Added and still present displays in the new list's order, then removed ones in the
// old list's order; displays without a change are left out.
std::vector<DisplayChange> deriveDisplayChanges(const DisplayOutputs& before,
                                                std::uint32_t mainBefore,
                                                const DisplayOutputs& after,
                                                std::uint32_t mainAfter);

}  // namespace qn::platform::x11
