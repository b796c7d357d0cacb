#include "platform/linux/panel/PanelRenderer.h"

#include <pango/pangocairo.h>

#include <cmath>

#include "platform/AttributedString.h"
#include "platform/linux/panel/ArcFromPoint.h"
#include "platform/linux/panel/PangoText.h"

namespace qn::platform::panel {

namespace {

void setColor(cairo_t* cr, const NSColor& color) {
    cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
}

// Builds the path in the recorded image's own coordinates (origin lower left).
void appendPath(cairo_t* cr, const NSBezierPath& path) {
    NSPoint current{0, 0};
    NSPoint start{0, 0};
    for (const auto& element : path.elements) {
        switch (element.kind) {
            case NSBezierPath::Element::Kind::MoveTo:
                cairo_move_to(cr, element.point1.x, element.point1.y);
                current = start = element.point1;
                break;
            case NSBezierPath::Element::Kind::LineTo:
                cairo_line_to(cr, element.point1.x, element.point1.y);
                current = element.point1;
                break;
            case NSBezierPath::Element::Kind::ArcFromPointToPoint: {
                const auto arc =
                    arcFromPoint(current, element.point1, element.point2, element.radius);
                cairo_line_to(cr, arc.lineTo.x, arc.lineTo.y);
                if (!arc.degenerate) {
                    (arc.counterClockwise ? cairo_arc : cairo_arc_negative)(
                        cr, arc.center.x, arc.center.y, element.radius, arc.startAngle,
                        arc.endAngle);
                }
                current = arc.end;
                break;
            }
            case NSBezierPath::Element::Kind::Close:
                cairo_close_path(cr);
                current = start;
                break;
        }
    }
}

// Text whose rectangle is given with the origin at the lower left of a surface `height`
// high; the lines start at the top of the rectangle.
void drawText(cairo_t* cr, double height, const NSAttributedString& text, NSRect rect,
              const TextLayoutSpec& spec) {
    PangoContext* context = pango_cairo_create_context(cr);
    PangoContextOwner owner(context);
    configureContext(context);
    const auto layout = makeLayout(context, text, spec);
    cairo_move_to(cr, rect.origin.x, height - (rect.origin.y + rect.size.height));
    pango_cairo_show_layout(cr, layout.get());
}

}  // namespace

PanelRenderer::PanelRenderer(std::string resourceDirectory)
    : m_resourceDirectory(std::move(resourceDirectory)) {}

cairo_surface_t* PanelRenderer::namedImage(const std::string& name) const {
    auto found = m_images.find(name);
    if (found == m_images.end()) {
        const auto path = m_resourceDirectory + "/" + name + ".png";
        CairoSurface image(cairo_image_surface_create_from_png(path.c_str()));
        found = m_images.emplace(name, std::move(image)).first;
    }
    // A missing file gives a surface in an error state: nothing is drawn for it.
    return cairo_surface_status(found->second.get()) == CAIRO_STATUS_SUCCESS ? found->second.get()
                                                                             : nullptr;
}

void PanelRenderer::drawImage(cairo_t* cr, const ImageRecord& image) const {
    const double height = image.size.height;
    for (const auto& fill : image.fills) {
        cairo_save(cr);
        // The recorded paths have their origin at the lower left.
        cairo_translate(cr, 0, height);
        cairo_scale(cr, 1, -1);
        cairo_new_path(cr);
        appendPath(cr, fill.path);
        cairo_restore(cr);
        setColor(cr, fill.color);
        cairo_fill(cr);
    }
    for (const auto& text : image.texts) {
        const auto style = text.attributes.get(NSParagraphStyleAttributeName);
        TextLayoutSpec spec;
        spec.font = fontFromValue(text.attributes.get(NSFontAttributeName), 13.0);
        spec.width = text.rect.size.width;
        spec.alignment = style.get("alignment").intValue();
        spec.truncateTail = style.get("lineBreakMode").intValue() == NSLineBreakByTruncatingTail;
        spec.color = colorFromValue(text.attributes.get(NSForegroundColorAttributeName));
        drawText(cr, height, NSAttributedString(text.text), text.rect, spec);
    }
}

void PanelRenderer::draw(cairo_t* cr, const WindowPicture& picture, double systemFontSize) const {
    const double height = picture.size.height;
    if (picture.background.kind == NSColor::Kind::Pattern) {
        if (picture.patternImage) {
            const auto& image = *picture.patternImage;
            CairoSurface tile(cairo_image_surface_create(
                CAIRO_FORMAT_ARGB32, static_cast<int>(std::ceil(image.size.width)),
                static_cast<int>(std::ceil(image.size.height))));
            {
                Cairo tileCr(cairo_create(tile.get()));
                drawImage(tileCr.get(), image);
            }
            // A pattern is laid from the window's lower left corner and repeats.
            CairoPattern pattern(cairo_pattern_create_for_surface(tile.get()));
            cairo_pattern_set_extend(pattern.get(), CAIRO_EXTEND_REPEAT);
            cairo_matrix_t matrix;
            cairo_matrix_init_translate(&matrix, 0, image.size.height - height);
            cairo_pattern_set_matrix(pattern.get(), &matrix);
            cairo_set_source(cr, pattern.get());
            cairo_paint(cr);
        }
    } else {
        setColor(cr, picture.background);
        cairo_paint(cr);
    }

    for (const auto& view : picture.subviews) {
        const auto& frame = view.frame;
        if (view.kind == NSViewSpec::Kind::TextField) {
            TextLayoutSpec spec;
            spec.font = NSFont{systemFontSize, false};
            spec.width = frame.size.width;
            spec.alignment = view.properties.get("alignment").intValue();
            if (view.properties.get("textColor").isDictionary()) {
                spec.color = colorFromValue(view.properties.get("textColor"));
            }
            drawText(cr, height,
                     NSAttributedString::fromValue(view.properties.get("attributedStringValue")),
                     frame, spec);
        } else if (auto* image = namedImage(view.properties.get("imageNamed").stringValue())) {
            // Centred in the button, scaled down to fit but never up.
            const double w = cairo_image_surface_get_width(image);
            const double h = cairo_image_surface_get_height(image);
            const double scale = std::min({1.0, frame.size.width / w, frame.size.height / h});
            const double x = frame.origin.x + (frame.size.width - w * scale) / 2;
            const double top =
                height - (frame.origin.y + frame.size.height) + (frame.size.height - h * scale) / 2;
            cairo_save(cr);
            cairo_translate(cr, x, top);
            cairo_scale(cr, scale, scale);
            cairo_set_source_surface(cr, image, 0, 0);
            cairo_paint(cr);
            cairo_restore(cr);
        }
    }
}

CairoSurface PanelRenderer::render(const WindowPicture& picture, double systemFontSize) const {
    CairoSurface surface(cairo_image_surface_create(
        CAIRO_FORMAT_ARGB32, static_cast<int>(std::ceil(picture.size.width)),
        static_cast<int>(std::ceil(picture.size.height))));
    Cairo cr(cairo_create(surface.get()));
    draw(cr.get(), picture, systemFontSize);
    cairo_surface_flush(surface.get());
    return surface;
}

bool PanelRenderer::writePng(const WindowPicture& picture, double systemFontSize,
                             const std::string& path) const {
    const auto surface = render(picture, systemFontSize);
    return cairo_surface_write_to_png(surface.get(), path.c_str()) == CAIRO_STATUS_SUCCESS;
}

}  // namespace qn::platform::panel
