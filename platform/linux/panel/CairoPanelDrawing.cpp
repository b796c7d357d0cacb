#include "platform/linux/panel/CairoPanelDrawing.h"

#include <cstring>

#include "platform/linux/panel/PangoText.h"

namespace qn::platform::panel {

CairoPanelDrawing::CairoPanelDrawing(std::string resourceDirectory)
    : m_renderer(std::move(resourceDirectory)) {}

NSSize CairoPanelDrawing::measure(const NSAttributedString& text, const NSFont& font,
                                  double width) {
    if (!m_measuring) {
        m_measuring = measuringContext();
    }
    TextLayoutSpec spec;
    spec.font = font;
    spec.width = width;
    return panel::measure(m_measuring.get(), text, spec);
}

PanelImage CairoPanelDrawing::render(const WindowPicture& picture, double systemFontSize) {
    const auto surface = m_renderer.render(picture, systemFontSize);
    cairo_surface_flush(surface.get());
    PanelImage image;
    image.width = cairo_image_surface_get_width(surface.get());
    image.height = cairo_image_surface_get_height(surface.get());
    image.stride = cairo_image_surface_get_stride(surface.get());
    const auto* data = cairo_image_surface_get_data(surface.get());
    if (data) {
        image.pixels.assign(data, data + static_cast<std::size_t>(image.stride) * image.height);
    }
    return image;
}

}  // namespace qn::platform::panel
