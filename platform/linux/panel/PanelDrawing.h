#pragma once
// What the panel's windows need from the text and picture libraries: measuring text and
// drawing a recorded window picture into pixels. Kept free of their types, so that the
// agent loads them (a module of their own, with some thirty libraries behind it) only
// when a panel is first measured or shown, not at every start.

#include <cstdint>
#include <vector>

#include "platform/AttributedString.h"
#include "platform/DrawingRecord.h"

namespace qn::platform::panel {

// Premultiplied ARGB, 32 bits a pixel in the machine's byte order, rows `stride` bytes
// apart: the 32-bit visual's format.
struct PanelImage {
    int width = 0;
    int height = 0;
    int stride = 0;
    std::vector<unsigned char> pixels;
};

class PanelDrawing {
  public:
    virtual ~PanelDrawing() = default;
    // Whole pixels covered by the laid-out text; `width` negative: no wrapping.
    virtual NSSize measure(const NSAttributedString& text, const NSFont& font, double width) = 0;
    virtual PanelImage render(const WindowPicture& picture, double systemFontSize) = 0;
};

}  // namespace qn::platform::panel

// The module's one entry: a new drawing over the resources in `resourceDirectory`, owned
// by the caller.
extern "C" {
using QnPanelDrawingCreate = qn::platform::panel::PanelDrawing* (*)(const char* resourceDirectory);
inline constexpr const char* kQnPanelDrawingCreate = "qn_panel_drawing_create";
}
