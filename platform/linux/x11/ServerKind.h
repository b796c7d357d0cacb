#pragma once
// Tells an Xwayland server from a real X server. The agent reads no environment but
// HOME, so the server is asked rather than WAYLAND_DISPLAY.

#include <string>
#include <vector>

namespace qn::platform::x11 {

// Xwayland announces its own extension, and names its outputs after itself.
bool isXwayland(bool hasXwaylandExtension, const std::vector<std::string>& outputNames);

}  // namespace qn::platform::x11
