#include "platform/linux/x11/DisplayOutput.h"

#include <algorithm>

namespace qn::platform::x11 {

double modeRefreshRate(std::uint64_t dotClock, std::uint32_t hTotal, std::uint32_t vTotal,
                       bool doubleScan, bool interlace) {
    double lines = vTotal;
    if (doubleScan) {
        lines *= 2;
    }
    if (interlace) {
        lines /= 2;
    }
    if (hTotal == 0 || lines == 0) {
        return 0;
    }
    return static_cast<double>(dotClock) / (static_cast<double>(hTotal) * lines);
}

std::uint32_t pickMainDisplay(const DisplayOutputs& outputs, std::uint32_t primary) {
    if (primary != 0 && findOutput(outputs, primary)) {
        return primary;
    }
    for (const auto& o : outputs) {
        if (o.x <= 0 && o.y <= 0 && o.x + static_cast<std::int64_t>(o.width) > 0 &&
            o.y + static_cast<std::int64_t>(o.height) > 0) {
            return o.id;
        }
    }
    return outputs.empty() ? 0 : outputs.front().id;
}

const DisplayOutput* findOutput(const DisplayOutputs& outputs, std::uint32_t id) {
    const auto found =
        std::find_if(outputs.begin(), outputs.end(), [id](const auto& o) { return o.id == id; });
    return found == outputs.end() ? nullptr : &*found;
}

bool isMirrored(const DisplayOutputs& outputs, const DisplayOutput& output) {
    return std::any_of(outputs.begin(), outputs.end(), [&](const DisplayOutput& other) {
        if (other.id == output.id) {
            return false;
        }
        return other.crtc == output.crtc ||
               (other.x == output.x && other.y == output.y && other.width == output.width &&
                other.height == output.height);
    });
}

}  // namespace qn::platform::x11
