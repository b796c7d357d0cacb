#pragma once
// An image of the simulated host with the drawing done into it, kept as data.

#include <string>
#include <vector>

#include "platform/AppKit.h"

namespace qn::platform::sim {

// An image with the drawing done into it.
struct SimImage {
    struct Fill {
        NSBezierPath path;
        NSColor color;
    };
    struct Text {
        std::string text;
        NSRect rect;
        Value attributes;
    };
    NSImageRef id = 0;
    NSSize size;
    std::vector<Fill> fills;
    std::vector<Text> texts;
};

}  // namespace qn::platform::sim
