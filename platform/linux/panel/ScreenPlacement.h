#pragma once
// From the host's screen coordinates (origin at the lower left of the main display, y
// upwards) to X's (origin at the top left of the root window, y downwards).

#include "platform/AppKit.h"

namespace qn::platform::panel {

struct XRectangleInt {
    int x = 0, y = 0;
    unsigned width = 0, height = 0;
    bool operator==(const XRectangleInt&) const = default;
};

// `mainDisplay` is the main display's rectangle in X's root coordinates. Sizes round up
// so that a window never cuts its picture; at least one pixel, as X requires.
XRectangleInt xRectangleForFrame(NSRect frame, const XRectangleInt& mainDisplay);
// The inverse for a window X moved: its frame in the host's coordinates.
NSRect frameForXRectangle(const XRectangleInt& rect, const XRectangleInt& mainDisplay);

}  // namespace qn::platform::panel
