#pragma once
// Pixels of Cairo image surfaces, premultiplied ARGB as Cairo keeps them, and the
// repository's resource folder.

#include <cairo.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace qn::platform::panel::testing {

struct Pixel {
    int a, r, g, b;
    bool operator==(const Pixel&) const = default;
};

inline Pixel pixelAt(cairo_surface_t* surface, int x, int y) {
    cairo_surface_flush(surface);
    const auto* row = cairo_image_surface_get_data(surface) +
                      static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(surface);
    const std::uint32_t v = reinterpret_cast<const std::uint32_t*>(row)[x];
    return Pixel{static_cast<int>(v >> 24), static_cast<int>((v >> 16) & 0xff),
                 static_cast<int>((v >> 8) & 0xff), static_cast<int>(v & 0xff)};
}

// The first pixel where two surfaces of one size differ, as "x,y", or "" when none does.
inline std::string firstDifference(cairo_surface_t* a, cairo_surface_t* b) {
    const int w = cairo_image_surface_get_width(a), h = cairo_image_surface_get_height(a);
    if (w != cairo_image_surface_get_width(b) || h != cairo_image_surface_get_height(b)) {
        return "size";
    }
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            if (!(pixelAt(a, x, y) == pixelAt(b, x, y))) {
                return std::to_string(x) + "," + std::to_string(y);
            }
        }
    }
    return "";
}

inline std::string sourceDir() {
    const char* dir = std::getenv("QN_TEST_SOURCE_DIR");
    return dir ? dir : ".";
}

}  // namespace qn::platform::panel::testing
