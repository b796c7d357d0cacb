#include "platform/linux/edid/EdidIds.h"

#include <algorithm>
#include <array>

namespace qn::platform::edid {

std::optional<EdidIds> parseEdidIds(const std::uint8_t* bytes, std::size_t size) {
    static constexpr std::array<std::uint8_t, 8> kHeader{0x00, 0xff, 0xff, 0xff,
                                                         0xff, 0xff, 0xff, 0x00};
    // The base block is 128 bytes; anything shorter is a truncated read.
    if (bytes == nullptr || size < 128 || !std::equal(kHeader.begin(), kHeader.end(), bytes)) {
        return std::nullopt;
    }
    EdidIds ids;
    ids.vendor = static_cast<std::uint16_t>((bytes[8] << 8) | bytes[9]);
    ids.product = static_cast<std::uint16_t>(bytes[10] | (bytes[11] << 8));
    return ids;
}

}  // namespace qn::platform::edid
