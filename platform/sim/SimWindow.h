#pragma once
// A window of the simulated host, kept as data that tests can inspect.

#include <string>
#include <vector>

#include "platform/AppKit.h"

namespace qn::platform::sim {

struct SimWindow {
    NSWindowRef id = 0;
    NSRect frame;
    std::uint32_t styleMask = 0;
    std::uint32_t backing = 0;
    std::string title;
    NSColor background;
    double alpha = 1.0;
    bool opaque = true;
    bool hasShadow = false;
    bool movableByWindowBackground = false;
    std::vector<NSViewSpec> subviews;
    bool visible = false;
    bool closed = false;
    int displayCount = 0;
};

}  // namespace qn::platform::sim
