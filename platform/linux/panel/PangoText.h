#pragma once
// Text as the panel sets and measures it: DejaVu Sans, one point one pixel, the same
// font options for measuring and drawing so that both agree to the pixel.

#include <string>

#include "platform/AttributedString.h"
#include "platform/linux/panel/CairoOwners.h"

namespace qn::platform::panel {

inline constexpr const char* kFontFamily = "DejaVu Sans";

FontDescription fontDescription(const NSFont& font);
// Gives the context the panel's font options (grey antialiasing, no hinting).
void configureContext(PangoContext* context);
// A context for measuring only, not tied to a surface.
PangoContextOwner measuringContext();

struct TextLayoutSpec {
    NSFont font;
    double width = -1;  // wrap width in points; negative: one line per paragraph, no wrap
    int alignment = 0;  // 0 left, 1 right, 2 centred
    bool truncateTail = false;
    NSColor color = NSColor::blackColor();
};

// A layout of attributed text: link colour and underline from the runs; font, wrap
// width, alignment and colour from the layout settings.
PangoLayoutOwner makeLayout(PangoContext* context, const NSAttributedString& text,
                            const TextLayoutSpec& spec);

// Whole pixels covered by the laid-out lines; nothing for an empty text.
NSSize measure(PangoContext* context, const NSAttributedString& text, const TextLayoutSpec& spec);

}  // namespace qn::platform::panel
