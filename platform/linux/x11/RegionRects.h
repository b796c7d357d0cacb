#pragma once
// The rectangles of an XFixes region as screen rectangles. A template over the
// rectangle type, so that this header does not bring Xlib's macros to its users.

#include <vector>

#include "platform/Quartz.h"

namespace qn::platform::x11 {

// Empty rectangles are left out; the order stays the server's.
template <typename Rectangle>
std::vector<CGRect> regionRects(const Rectangle* rects, int count) {
    std::vector<CGRect> out;
    if (rects == nullptr || count <= 0) {
        return out;
    }
    out.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const Rectangle& r = rects[i];
        if (r.width == 0 || r.height == 0) {
            continue;
        }
        out.push_back(CGRectMake(r.x, r.y, r.width, r.height));
    }
    return out;
}

}  // namespace qn::platform::x11
