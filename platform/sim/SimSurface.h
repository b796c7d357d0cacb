#pragma once
// A frame buffer with real memory, a use count and a retain count.

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/IOSurface.h"
#include "platform/sim/SimCounted.h"

namespace qn::platform::sim {

class SimSurface : public SimCounted<IOSurfaceObject> {
  public:
    SimSurface(SimFaults& faults, std::size_t width, std::size_t height);

    std::uint8_t* baseAddress() { return m_memory.data(); }
    std::size_t bytesPerRow() const { return m_bytesPerRow; }
    std::size_t allocSize() const { return m_memory.size(); }
    std::int32_t useCount() const { return m_useCount.load(); }
    void incrementUseCount();
    void decrementUseCount();
    // Writes the frame number into every pixel, as the host would write a frame.
    void paint(std::uint32_t frameNumber);
    std::uint32_t paintedFrame() const;

    // Deliveries of this surface queued and not yet handed to the stream's handler.
    int pendingDeliveries = 0;

  private:
    std::size_t m_bytesPerRow;
    std::vector<std::uint8_t> m_memory;
    std::atomic<std::int32_t> m_useCount{0};
};

}  // namespace qn::platform::sim
