#pragma once
// An image of the simulated host with the drawing done into it, kept as data.

#include "platform/DrawingRecord.h"

namespace qn::platform::sim {

// An image with the drawing done into it.
struct SimImage : ImageRecord {
    using Fill = DrawnFill;
    using Text = DrawnText;
    NSImageRef id = 0;
};

}  // namespace qn::platform::sim
