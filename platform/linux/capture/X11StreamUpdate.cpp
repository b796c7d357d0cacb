#include "platform/linux/capture/X11StreamUpdate.h"

#include <algorithm>

namespace qn::platform::linux_host {

X11StreamUpdate* X11StreamUpdate::merge(const X11StreamUpdate* first,
                                        const X11StreamUpdate* second) {
    std::vector<CGRect> rects;
    for (const auto* update : {first, second}) {
        if (update == nullptr) {
            continue;
        }
        for (const auto& r : update->dirtyRects()) {
            // A rectangle already listed adds nothing to the union.
            if (std::find(rects.begin(), rects.end(), r) == rects.end()) {
                rects.push_back(r);
            }
        }
    }
    return create(std::move(rects));
}

}  // namespace qn::platform::linux_host
