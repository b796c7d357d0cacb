#include "platform/linux/x11/ServerKind.h"

#include <algorithm>

namespace qn::platform::x11 {

bool isXwayland(bool hasXwaylandExtension, const std::vector<std::string>& outputNames) {
    return hasXwaylandExtension ||
           std::any_of(outputNames.begin(), outputNames.end(),
                       [](const std::string& name) { return name.rfind("XWAYLAND", 0) == 0; });
}

}  // namespace qn::platform::x11
