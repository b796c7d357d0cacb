#pragma once
// Writes a BGRA picture as an 8-bit RGBA PNG file: enough to look at a frame.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qn::platform::sim {

// The PNG bytes of a picture of tightly packed BGRA rows.
std::vector<std::uint8_t> encodePng(const std::uint8_t* bgra, std::size_t width,
                                    std::size_t height);
// False when the file cannot be written.
bool writePng(const std::string& path, const std::uint8_t* bgra, std::size_t width,
              std::size_t height);

}  // namespace qn::platform::sim
