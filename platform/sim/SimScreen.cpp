#include "platform/sim/SimScreen.h"

#include <cstring>

namespace qn::platform::sim {

void renderScreen(CGDirectDisplayID display, std::uint32_t frameNumber, std::size_t width,
                  std::size_t height, std::size_t bytesPerRow, std::uint8_t* out) {
    // Diagonal bands that slide by a few pixels a frame, tinted per display.
    const auto shift = static_cast<std::uint8_t>(frameNumber * 3);
    const auto tint = static_cast<std::uint8_t>(display * 37 + frameNumber);
    for (std::size_t y = 0; y < height; ++y) {
        std::uint8_t* row = out + y * bytesPerRow;
        for (std::size_t x = 0; x < width; ++x) {
            std::uint8_t* pixel = row + x * 4;
            pixel[0] = static_cast<std::uint8_t>(x + y + shift);
            pixel[1] = static_cast<std::uint8_t>((x ^ y) + shift * 2);
            pixel[2] = tint;
            pixel[3] = 0xFF;
        }
    }
    if (width > 0 && height > 0) {
        std::memcpy(out, &frameNumber, sizeof(frameNumber));
    }
}

std::uint32_t screenFrameNumber(const std::uint8_t* picture) {
    std::uint32_t frame = 0;
    std::memcpy(&frame, picture, sizeof(frame));
    return frame;
}

}  // namespace qn::platform::sim
