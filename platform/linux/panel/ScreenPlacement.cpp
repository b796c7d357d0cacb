#include "platform/linux/panel/ScreenPlacement.h"

#include <algorithm>
#include <cmath>

namespace qn::platform::panel {

XRectangleInt xRectangleForFrame(NSRect frame, const XRectangleInt& mainDisplay) {
    XRectangleInt rect;
    rect.width = static_cast<unsigned>(std::max(1.0, std::ceil(frame.size.width)));
    rect.height = static_cast<unsigned>(std::max(1.0, std::ceil(frame.size.height)));
    rect.x = mainDisplay.x + static_cast<int>(std::lround(frame.origin.x));
    const double bottom = static_cast<double>(mainDisplay.y) + mainDisplay.height;
    rect.y = static_cast<int>(std::lround(bottom - frame.origin.y - frame.size.height));
    return rect;
}

NSRect frameForXRectangle(const XRectangleInt& rect, const XRectangleInt& mainDisplay) {
    const double bottom = static_cast<double>(mainDisplay.y) + mainDisplay.height;
    return CGRectMake(rect.x - mainDisplay.x, bottom - rect.y - rect.height, rect.width,
                      rect.height);
}

}  // namespace qn::platform::panel
