#include "platform/sim/SimSurface.h"

#include <cstring>

#include "platform/sim/SimScreen.h"

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
      m_width(width),
      m_height(height),
      m_bytesPerRow(roundUp(width * 4, kRowAlignment)),
      m_memory(roundUp(m_bytesPerRow * height, kPageSize)) {}

void SimSurface::retain() {
    SimCounted::retain();
    changed();
}

void SimSurface::release() {
    SimCounted::release();
    changed();
}

void SimSurface::incrementUseCount() {
    check("IOSurfaceIncrementUseCount");
    ++m_useCount;
    changed();
}

void SimSurface::decrementUseCount() {
    check("IOSurfaceDecrementUseCount");
    if (m_useCount.load() <= 0) {
        faults().record("IOSurfaceDecrementUseCount below zero");
        return;
    }
    --m_useCount;
    changed();
}

bool SimSurface::paint(CGDirectDisplayID display, std::uint32_t frameNumber) {
    if (m_useCount.load() > 0) {
        faults().record("a surface in use was written");
        return false;
    }
    renderScreen(display, frameNumber, m_width, m_height, m_bytesPerRow, m_memory.data());
    return true;
}

std::uint32_t SimSurface::paintedFrame() const {
    return m_memory.size() >= 4 ? screenFrameNumber(m_memory.data()) : 0;
}

}  // namespace qn::platform::sim
