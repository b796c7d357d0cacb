#pragma once
// The update of one frame: the dirty rectangles since the previous frame, in the
// display's pixels. Reference counted; the last release deletes it.

#include <atomic>
#include <vector>

#include "platform/Quartz.h"

namespace qn::platform::linux_host {

class X11StreamUpdate final : public CGDisplayStreamUpdateObject {
  public:
    // One reference, owned by the caller.
    static X11StreamUpdate* create(std::vector<CGRect> dirtyRects) {
        return new X11StreamUpdate(std::move(dirtyRects));
    }
    // A new update (one reference, the caller's) holding what changed over both, the
    // older first; a null side counts as nothing changed.
    static X11StreamUpdate* merge(const X11StreamUpdate* first, const X11StreamUpdate* second);

    void retain() override { m_retainCount.fetch_add(1); }
    void release() override {
        if (m_retainCount.fetch_sub(1) == 1) {
            delete this;
        }
    }
    long retainCount() const override { return m_retainCount.load(); }

    const std::vector<CGRect>& dirtyRects() const { return m_dirtyRects; }

  private:
    explicit X11StreamUpdate(std::vector<CGRect> rects) : m_dirtyRects(std::move(rects)) {}
    ~X11StreamUpdate() override = default;

    const std::vector<CGRect> m_dirtyRects;
    std::atomic<long> m_retainCount{1};
};

}  // namespace qn::platform::linux_host
