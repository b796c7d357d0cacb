#pragma once
// One owner per Cairo, Pango and GLib handle: each freed by its library's own call.

#include <cairo.h>
#include <glib-object.h>
#include <pango/pango.h>

#include <memory>

namespace qn::platform::panel {

struct CairoSurfaceFree {
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
struct CairoFree {
    void operator()(cairo_t* c) const { cairo_destroy(c); }
};
struct CairoPatternFree {
    void operator()(cairo_pattern_t* p) const { cairo_pattern_destroy(p); }
};
struct GObjectFree {
    void operator()(gpointer o) const { g_object_unref(o); }
};
struct FontDescriptionFree {
    void operator()(PangoFontDescription* d) const { pango_font_description_free(d); }
};
struct AttrListFree {
    void operator()(PangoAttrList* l) const { pango_attr_list_unref(l); }
};

using CairoSurface = std::unique_ptr<cairo_surface_t, CairoSurfaceFree>;
using Cairo = std::unique_ptr<cairo_t, CairoFree>;
using CairoPattern = std::unique_ptr<cairo_pattern_t, CairoPatternFree>;
using PangoLayoutOwner = std::unique_ptr<PangoLayout, GObjectFree>;
using PangoContextOwner = std::unique_ptr<PangoContext, GObjectFree>;
using FontDescription = std::unique_ptr<PangoFontDescription, FontDescriptionFree>;
using AttrList = std::unique_ptr<PangoAttrList, AttrListFree>;

}  // namespace qn::platform::panel
