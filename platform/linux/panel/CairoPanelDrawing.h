#pragma once
// The panel's drawing with Pango and Cairo, through the renderer the tools and tests
// use too, so that every road gives the same pixels.

#include <string>

#include "platform/linux/panel/CairoOwners.h"
#include "platform/linux/panel/PanelDrawing.h"
#include "platform/linux/panel/PanelRenderer.h"

namespace qn::platform::panel {

class CairoPanelDrawing : public PanelDrawing {
  public:
    explicit CairoPanelDrawing(std::string resourceDirectory);

    NSSize measure(const NSAttributedString& text, const NSFont& font, double width) override;
    PanelImage render(const WindowPicture& picture, double systemFontSize) override;

  private:
    PanelRenderer m_renderer;
    // Made at the first measurement: the font set-up behind it takes milliseconds.
    PangoContextOwner m_measuring;
};

}  // namespace qn::platform::panel
