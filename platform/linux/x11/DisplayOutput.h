#pragma once
// What the X server says about one online output: an output driving a CRTC with a mode.
// Plain data, so that the comparison of two lists stays a pure function.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qn::platform::x11 {

struct DisplayOutput {
    // The output's XID (the root window's without RandR); never 0, fixed for the
    // server's life.
    std::uint32_t id = 0;
    std::string name;
    std::uint32_t crtc = 0;
    std::uint32_t mode = 0;
    // The CRTC's rectangle on the screen.
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    // The mode's.
    std::uint32_t pixelWidth = 0;
    std::uint32_t pixelHeight = 0;
    double refreshRate = 0;
    // From the output's EDID, 0 without one.
    std::uint16_t vendor = 0;
    std::uint16_t model = 0;
    // The kernel connector behind the output, when the driver names it.
    std::optional<std::uint32_t> connectorId;
};

using DisplayOutputs = std::vector<DisplayOutput>;

// The mode's refresh rate from its timings; 0 when the server gives no timings (a
// virtual server's modes), as the server says it.
double modeRefreshRate(std::uint64_t dotClock, std::uint32_t hTotal, std::uint32_t vTotal,
                       bool doubleScan, bool interlace);

// The primary output when it is online, else the one whose CRTC holds the screen's
// origin, else the first; 0 for an empty list.
std::uint32_t pickMainDisplay(const DisplayOutputs& outputs, std::uint32_t primary);

const DisplayOutput* findOutput(const DisplayOutputs& outputs, std::uint32_t id);

// Whether another output shows the same picture: it shares the CRTC, or its CRTC covers
// the same rectangle (drivers that cannot clone give each output a CRTC of its own).
bool isMirrored(const DisplayOutputs& outputs, const DisplayOutput& output);

}  // namespace qn::platform::x11
