#pragma once
// The vendor and product numbers of a monitor, read from its EDID block.

#include <cstddef>
#include <cstdint>
#include <optional>

namespace qn::platform::edid {

struct EdidIds {
    // The packed three-letter manufacturer code, as the block stores it (big-endian).
    std::uint16_t vendor = 0;
    // The manufacturer's product code (little-endian in the block).
    std::uint16_t product = 0;
};

// Nothing when the bytes are no EDID block (too short or a wrong header).
std::optional<EdidIds> parseEdidIds(const std::uint8_t* bytes, std::size_t size);

}  // namespace qn::platform::edid
