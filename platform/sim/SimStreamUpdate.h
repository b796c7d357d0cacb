#pragma once
// The update of one frame: its dirty rectangles.

#include <vector>

#include "platform/Quartz.h"
#include "platform/sim/SimCounted.h"

namespace qn::platform::sim {

class SimStreamUpdate : public SimCounted<CGDisplayStreamUpdateObject> {
  public:
    SimStreamUpdate(SimFaults& faults, std::vector<CGRect> dirtyRects)
        : SimCounted(faults, "stream update"), dirtyRects(std::move(dirtyRects)) {}

    const std::vector<CGRect> dirtyRects;
    // Made by merging two updates rather than by a frame.
    bool merged = false;
};

}  // namespace qn::platform::sim
