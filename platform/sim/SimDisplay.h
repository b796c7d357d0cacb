#pragma once
// One display of the simulated world, as tests and scenarios describe it.

#include <cstddef>
#include <cstdint>

#include "platform/Quartz.h"

namespace qn::platform::sim {

struct SimDisplay {
    CGDirectDisplayID id = 0;
    CGRect bounds;
    // The current mode; hasMode false makes CGDisplayCopyDisplayMode give null.
    bool hasMode = true;
    std::size_t pixelWidth = 0;
    std::size_t pixelHeight = 0;
    double refreshRate = 60.0;
    bool online = true;
    bool active = true;
    bool asleep = false;
    // The registry service of its framebuffer (see SimIOKit), 0 for none.
    io_service_t servicePort = 0;
    std::uint32_t modelNumber = 0;
    std::uint32_t vendorNumber = 0;
};

}  // namespace qn::platform::sim
