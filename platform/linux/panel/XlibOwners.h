#pragma once
// Owners of the panel's Xlib handles: the connection it opened, and the server's
// resources made on a connection (windows, graphics contexts, colormaps), each freed with
// its own Xlib call on that connection, which must outlive it. Xlib's types go by their
// own names, so that its macros stay out of the headers that include this one.

#include <memory>
#include <utility>

struct _XDisplay;
struct _XGC;

namespace qn::platform::panel {

using XWindowId = unsigned long;

struct DisplayClose {
    void operator()(_XDisplay* display) const;
};
// Owns a connection (an Xlib Display*) this object opened.
using DisplayOwner = std::unique_ptr<_XDisplay, DisplayClose>;

// A resource id on a connection, given back with `Free`; 0 is none.
template <void (*Free)(_XDisplay*, unsigned long)>
class XResource {
  public:
    XResource() = default;
    // Takes over `id`, made on `display`.
    XResource(_XDisplay* display, unsigned long id) : m_display(display), m_id(id) {}
    XResource(XResource&& other) noexcept
        : m_display(other.m_display), m_id(std::exchange(other.m_id, 0)) {}
    XResource& operator=(XResource&& other) noexcept {
        if (this != &other) {
            reset();
            m_display = other.m_display;
            m_id = std::exchange(other.m_id, 0);
        }
        return *this;
    }
    XResource(const XResource&) = delete;
    XResource& operator=(const XResource&) = delete;
    ~XResource() { reset(); }

    unsigned long get() const { return m_id; }
    explicit operator bool() const { return m_id != 0; }
    void reset() {
        if (const unsigned long id = std::exchange(m_id, 0)) {
            Free(m_display, id);
        }
    }

  private:
    _XDisplay* m_display = nullptr;
    unsigned long m_id = 0;
};

void destroyWindow(_XDisplay* display, unsigned long window);
void freeColormap(_XDisplay* display, unsigned long colormap);
using XWindowOwner = XResource<&destroyWindow>;
using ColormapOwner = XResource<&freeColormap>;

struct GcFree {
    _XDisplay* display = nullptr;
    void operator()(_XGC* gc) const;
};
// A graphics context, freed on the connection it was made on.
using GcOwner = std::unique_ptr<_XGC, GcFree>;

}  // namespace qn::platform::panel
