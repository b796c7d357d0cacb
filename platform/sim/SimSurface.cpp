#include "platform/sim/SimSurface.h"

#include <cstring>

namespace qn::platform::sim {

namespace {
constexpr std::size_t kRowAlignment = 64;
constexpr std::size_t kPageSize = 4096;

std::size_t roundUp(std::size_t value, std::size_t step) {
    return (value + step - 1) / step * step;
}
}  // namespace

SimSurface::SimSurface(SimFaults& faults, std::size_t width, std::size_t height)
    : SimCounted(faults, "surface"),
      m_bytesPerRow(roundUp(width * 4, kRowAlignment)),
      m_memory(roundUp(m_bytesPerRow * height, kPageSize)) {}

void SimSurface::incrementUseCount() {
    check("IOSurfaceIncrementUseCount");
    ++m_useCount;
}

void SimSurface::decrementUseCount() {
    check("IOSurfaceDecrementUseCount");
    if (m_useCount.load() <= 0) {
        faults().record("IOSurfaceDecrementUseCount below zero");
        return;
    }
    --m_useCount;
}

void SimSurface::paint(std::uint32_t frameNumber) {
    for (std::size_t offset = 0; offset + 4 <= m_memory.size(); offset += 4) {
        std::memcpy(m_memory.data() + offset, &frameNumber, 4);
    }
}

std::uint32_t SimSurface::paintedFrame() const {
    std::uint32_t frame = 0;
    if (m_memory.size() >= 4) {
        std::memcpy(&frame, m_memory.data(), 4);
    }
    return frame;
}

}  // namespace qn::platform::sim
