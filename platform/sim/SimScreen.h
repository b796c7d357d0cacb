#pragma once
// What the simulated screen shows: a pattern that moves with every frame, in BGRA. The
// frame's number stands in the first pixel, so that whoever reads a frame can tell which
// one it got and draw the same picture again to compare.

#include <cstddef>
#include <cstdint>

#include "platform/Quartz.h"

namespace qn::platform::sim {

// Writes the picture of the display at the frame into rows of bytesPerRow bytes.
void renderScreen(CGDirectDisplayID display, std::uint32_t frameNumber, std::size_t width,
                  std::size_t height, std::size_t bytesPerRow, std::uint8_t* out);
// The frame number carried by a picture.
std::uint32_t screenFrameNumber(const std::uint8_t* picture);

}  // namespace qn::platform::sim
