#pragma once
// Draws a recorded window picture with Cairo and Pango: the background (colour or recorded
// image), then the text fields and the image buttons. One point is one pixel. The same
// record gives the same pixels, whichever host recorded it.

#include <map>
#include <string>

#include "platform/DrawingRecord.h"
#include "platform/linux/panel/CairoOwners.h"

namespace qn::platform::panel {

class PanelRenderer {
  public:
    // Images named by buttons are the PNG files of that name in the directory.
    explicit PanelRenderer(std::string resourceDirectory);

    // A transparent ARGB image of the window's size (rounded up) with the picture.
    CairoSurface render(const WindowPicture& picture, double systemFontSize) const;
    // Draws over what the context holds; its origin is the window's top left.
    void draw(cairo_t* cr, const WindowPicture& picture, double systemFontSize) const;
    // Draws a recorded image, its origin at the top left of the context.
    void drawImage(cairo_t* cr, const ImageRecord& image) const;
    // False when the file cannot be written.
    bool writePng(const WindowPicture& picture, double systemFontSize,
                  const std::string& path) const;

  private:
    cairo_surface_t* namedImage(const std::string& name) const;

    std::string m_resourceDirectory;
    mutable std::map<std::string, CairoSurface> m_images;
};

}  // namespace qn::platform::panel
