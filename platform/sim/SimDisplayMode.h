#pragma once
// A copied display mode: a snapshot of the display's mode at the time of the copy.

#include "platform/Quartz.h"
#include "platform/sim/SimCounted.h"

namespace qn::platform::sim {

class SimDisplayMode : public SimCounted<CGDisplayModeObject> {
  public:
    SimDisplayMode(SimFaults& faults, std::size_t width, std::size_t height, double refreshRate)
        : SimCounted(faults, "display mode"),
          width(width),
          height(height),
          refreshRate(refreshRate) {}

    const std::size_t width;
    const std::size_t height;
    const double refreshRate;
};

}  // namespace qn::platform::sim
