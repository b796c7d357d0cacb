#pragma once
// Drawing into an image, kept as data: what a host records between lockFocus and
// unlockFocus, and what one renderer draws again into pixels.

#include <string>
#include <vector>

#include "platform/AppKit.h"

namespace qn::platform {

struct DrawnFill {
    NSBezierPath path;
    NSColor color;
};

struct DrawnText {
    std::string text;
    NSRect rect;
    Value attributes;
};

struct ImageRecord {
    NSSize size;
    std::vector<DrawnFill> fills;
    std::vector<DrawnText> texts;
};

// A window's whole picture: its background (a colour, or a pattern of a recorded image)
// and its views in the order they were added.
struct WindowPicture {
    NSSize size;
    NSColor background;
    const ImageRecord* patternImage = nullptr;
    std::vector<NSViewSpec> subviews;
};

}  // namespace qn::platform
