#include "platform/linux/panel/PangoText.h"

#include <pango/pangocairo.h>

#include <algorithm>

namespace qn::platform::panel {

namespace {
guint16 channel(double value) {
    return static_cast<guint16>(std::clamp(value, 0.0, 1.0) * 65535.0 + 0.5);
}

void insert(PangoAttrList* list, PangoAttribute* attribute, std::size_t start, std::size_t end) {
    attribute->start_index = static_cast<guint>(start);
    attribute->end_index = static_cast<guint>(end);
    pango_attr_list_insert(list, attribute);
}
}  // namespace

FontDescription fontDescription(const NSFont& font) {
    FontDescription description(pango_font_description_new());
    pango_font_description_set_family(description.get(), kFontFamily);
    pango_font_description_set_weight(description.get(),
                                      font.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    // Absolute size: device units, and a device unit is one point.
    pango_font_description_set_absolute_size(description.get(), font.pointSize * PANGO_SCALE);
    return description;
}

void configureContext(PangoContext* context) {
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context, options);
    cairo_font_options_destroy(options);
    pango_cairo_context_set_resolution(context, 72.0);
}

PangoContextOwner measuringContext() {
    PangoContextOwner context(pango_font_map_create_context(pango_cairo_font_map_get_default()));
    configureContext(context.get());
    return context;
}

PangoLayoutOwner makeLayout(PangoContext* context, const NSAttributedString& text,
                            const TextLayoutSpec& spec) {
    PangoLayoutOwner layout(pango_layout_new(context));
    const auto& string = text.string();
    pango_layout_set_text(layout.get(), string.data(), static_cast<int>(string.size()));
    const auto font = fontDescription(spec.font);
    pango_layout_set_font_description(layout.get(), font.get());
    if (spec.width >= 0) {
        pango_layout_set_width(layout.get(), static_cast<int>(spec.width * PANGO_SCALE));
        pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    }
    pango_layout_set_alignment(layout.get(), spec.alignment == 2   ? PANGO_ALIGN_CENTER
                                             : spec.alignment == 1 ? PANGO_ALIGN_RIGHT
                                                                   : PANGO_ALIGN_LEFT);
    if (spec.truncateTail) {
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
    }

    AttrList attributes(pango_attr_list_new());
    insert(attributes.get(),
           pango_attr_foreground_new(channel(spec.color.red), channel(spec.color.green),
                                     channel(spec.color.blue)),
           0, string.size());
    for (const auto& run : text.runs()) {
        const auto end = run.location + run.length;
        const auto color = run.attributes.get(NSForegroundColorAttributeName);
        if (!color.isNull()) {
            const auto c = colorFromValue(color);
            insert(attributes.get(),
                   pango_attr_foreground_new(channel(c.red), channel(c.green), channel(c.blue)),
                   run.location, end);
        }
        if (run.attributes.get(NSUnderlineStyleAttributeName).intValue() != 0) {
            insert(attributes.get(), pango_attr_underline_new(PANGO_UNDERLINE_SINGLE), run.location,
                   end);
        }
    }
    pango_layout_set_attributes(layout.get(), attributes.get());
    return layout;
}

NSSize measure(PangoContext* context, const NSAttributedString& text, const TextLayoutSpec& spec) {
    if (text.length() == 0) {
        return NSSize{0, 0};
    }
    const auto layout = makeLayout(context, text, spec);
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout.get(), nullptr, &logical);
    return NSSize{static_cast<double>(logical.width), static_cast<double>(logical.height)};
}

}  // namespace qn::platform::panel
