#pragma once
// A display stream: once started it delivers the frames that the world pushes, each in a
// surface of its own pool that is not in use, and the stopped status after a stop, all
// on its dispatch queue.

#include <memory>
#include <vector>

#include "platform/Quartz.h"
#include "platform/sim/SimCounted.h"
#include "platform/sim/SimStreamUpdate.h"
#include "platform/sim/SimSurface.h"

namespace qn::platform::sim {

class SimDisplayStream : public SimCounted<CGDisplayStreamObject> {
  public:
    SimDisplayStream(SimFaults& faults, CGDirectDisplayID display, std::size_t width,
                     std::size_t height, std::int32_t pixelFormat, Value properties,
                     dispatch_queue_t queue, CGDisplayStreamFrameAvailableHandler handler)
        : SimCounted(faults, "display stream"),
          display(display),
          width(width),
          height(height),
          pixelFormat(pixelFormat),
          properties(std::move(properties)),
          queue(queue),
          handler(std::move(handler)) {}

    const CGDirectDisplayID display;
    const std::size_t width;
    const std::size_t height;
    const std::int32_t pixelFormat;
    const Value properties;
    const dispatch_queue_t queue;
    const CGDisplayStreamFrameAvailableHandler handler;

    bool running = false;
    int startCalls = 0;
    int stopCalls = 0;
    int framesDelivered = 0;
    int stoppedDelivered = 0;
    // The surfaces the stream has made; the stream holds one reference to each.
    std::vector<std::unique_ptr<SimSurface>> surfaces;
};

}  // namespace qn::platform::sim
