#pragma once
// Whether reported screen rectangles together cover a drawn one, pixel by pixel: the
// reports may split, merge or overlap what was drawn in any way.

#include <algorithm>
#include <vector>

#include "platform/Quartz.h"

namespace qn::test {

inline bool covers(const std::vector<platform::CGRect>& rects, const platform::CGRect& drawn) {
    for (double y = drawn.origin.y; y < drawn.origin.y + drawn.size.height; ++y) {
        for (double x = drawn.origin.x; x < drawn.origin.x + drawn.size.width; ++x) {
            const bool inside =
                std::any_of(rects.begin(), rects.end(), [&](const platform::CGRect& r) {
                    return x >= r.origin.x && x < r.origin.x + r.size.width && y >= r.origin.y &&
                           y < r.origin.y + r.size.height;
                });
            if (!inside) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace qn::test
