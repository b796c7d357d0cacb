#pragma once
// A frame buffer with real memory, a use count and a retain count.

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/IOSurface.h"
#include "platform/Quartz.h"
#include "platform/sim/SimCounted.h"

namespace qn::platform::sim {

class SimSurface : public SimCounted<IOSurfaceObject> {
  public:
    SimSurface(SimFaults& faults, std::size_t width, std::size_t height);

    // Told after every change of the use or retain count.
    using Watcher = std::function<void(SimSurface& surface)>;
    void setWatcher(const Watcher* watcher) { m_watcher = watcher; }
    void retain() override;
    void release() override;

    std::uint8_t* baseAddress() { return m_memory.data(); }
    std::size_t bytesPerRow() const { return m_bytesPerRow; }
    std::size_t allocSize() const { return m_memory.size(); }
    std::int32_t useCount() const { return m_useCount.load(); }
    void incrementUseCount();
    void decrementUseCount();
    // Draws the display's screen at the frame, as the host writes a frame; a surface in
    // use is never written (a fault when asked to, and false).
    bool paint(CGDirectDisplayID display, std::uint32_t frameNumber);
    std::uint32_t paintedFrame() const;
    std::size_t width() const { return m_width; }
    std::size_t height() const { return m_height; }

    // Deliveries of this surface queued and not yet handed to the stream's handler.
    int pendingDeliveries = 0;

  private:
    void changed() {
        if (m_watcher && *m_watcher) {
            (*m_watcher)(*this);
        }
    }

    const Watcher* m_watcher = nullptr;
    std::size_t m_width;
    std::size_t m_height;
    std::size_t m_bytesPerRow;
    std::vector<std::uint8_t> m_memory;
    std::atomic<std::int32_t> m_useCount{0};
};

}  // namespace qn::platform::sim
