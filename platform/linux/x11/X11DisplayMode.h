#pragma once
// A copy of a display's current mode, owned by whoever holds a reference.

#include <atomic>
#include <cstddef>

#include "platform/Quartz.h"

namespace qn::platform::x11 {

class X11DisplayMode : public CGDisplayModeObject {
  public:
    X11DisplayMode(std::size_t width, std::size_t height, double refreshRate)
        : width(width), height(height), refreshRate(refreshRate) {}

    void retain() override { ++m_references; }
    void release() override {
        if (--m_references == 0) {
            delete this;
        }
    }
    long retainCount() const override { return m_references; }

    const std::size_t width;
    const std::size_t height;
    const double refreshRate;

  private:
    ~X11DisplayMode() override = default;
    std::atomic<long> m_references{1};
};

}  // namespace qn::platform::x11
