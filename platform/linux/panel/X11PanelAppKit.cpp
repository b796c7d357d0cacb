#include "platform/linux/panel/X11PanelAppKit.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/Xrandr.h>

#include <algorithm>
#include <cstdint>

#include "platform/AttributedString.h"

namespace qn::platform::panel {

namespace {

struct XFreeCall {
    void operator()(void* p) const { XFree(p); }
};
struct MonitorsFree {
    void operator()(XRRMonitorInfo* monitors) const { XRRFreeMonitors(monitors); }
};
// An image over pixels it does not own: they are let go before the image is destroyed.
struct BorrowingImageFree {
    void operator()(XImage* image) const {
        image->data = nullptr;
        XDestroyImage(image);
    }
};

Visual* visual(void* v) {
    return static_cast<Visual*>(v);
}

bool littleEndian() {
    const std::uint16_t probe = 1;
    return *reinterpret_cast<const unsigned char*>(&probe) == 1;
}

// A UTF-8 text property, as desktops and accessibility tools read window names.
void setUtf8Property(Display* display, Window window, const char* name, const std::string& text) {
    XChangeProperty(display, window, XInternAtom(display, name, False),
                    XInternAtom(display, "UTF8_STRING", False), 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(text.data()),
                    static_cast<int>(text.size()));
}

bool contains(const NSRect& r, double x, double y) {
    return x >= r.origin.x && x < r.origin.x + r.size.width && y >= r.origin.y &&
           y < r.origin.y + r.size.height;
}

}  // namespace

X11PanelAppKit::X11PanelAppKit(NSNotificationCenter& workspace, std::string resourceDirectory,
                               const char* displayName)
    : m_workspace(workspace),
      m_resourceDirectory(std::move(resourceDirectory)),
      m_ownDisplay(XOpenDisplay(displayName)),
      m_display(m_ownDisplay.get()) {
    setUp();
}

X11PanelAppKit::X11PanelAppKit(NSNotificationCenter& workspace, std::string resourceDirectory,
                               _XDisplay* display)
    : m_workspace(workspace),
      m_resourceDirectory(std::move(resourceDirectory)),
      m_display(display) {
    setUp();
}

X11PanelAppKit::X11PanelAppKit(NSNotificationCenter& workspace, std::string resourceDirectory,
                               OpenLater later)
    : m_workspace(workspace),
      m_resourceDirectory(std::move(resourceDirectory)),
      m_later(std::move(later)) {}

bool X11PanelAppKit::open() {
    if (m_display || !m_later) {
        return m_display != nullptr;
    }
    // Tried once: a display that is not there now is not looked for again.
    auto later = std::move(*m_later);
    m_later.reset();
    m_ownDisplay.reset(XOpenDisplay(nullptr));
    m_display = m_ownDisplay.get();
    setUp();
    if (m_display && later.opened) {
        later.opened(ConnectionNumber(m_display));
    }
    return m_display != nullptr;
}

void X11PanelAppKit::setUp() {
    if (!m_display) {
        return;
    }
    // Translucent corners need a visual with alpha; without one no panel is made.
    XVisualInfo info;
    if (XMatchVisualInfo(m_display, DefaultScreen(m_display), 32, TrueColor, &info)) {
        m_visual = info.visual;
        m_colormap = ColormapOwner(
            m_display,
            XCreateColormap(m_display, DefaultRootWindow(m_display), info.visual, AllocNone));
    }
}

PanelDrawing* X11PanelAppKit::drawing() {
    // Loaded at first use: the libraries behind it cost the agent's start milliseconds,
    // and most runs never show a panel.
    if (!m_drawingModule) {
        m_drawingModule = std::make_unique<PanelDrawingModule>(m_resourceDirectory);
    }
    return m_drawingModule->drawing();
}

X11PanelAppKit::~X11PanelAppKit() {
    if (!m_display) {
        return;
    }
    // Here, not after: a connection borrowed from the caller stays open, so the requests
    // are flushed.
    m_windows.clear();
    m_colormap.reset();
    XFlush(m_display);
}

int X11PanelAppKit::connectionNumber() const {
    return m_display ? ConnectionNumber(m_display) : -1;
}

void X11PanelAppKit::processPendingEvents() {
    if (!m_display) {
        return;
    }
    while (XPending(m_display) > 0) {
        XEvent event;
        XNextEvent(m_display, &event);
        handle(&event);
    }
}

void X11PanelAppKit::synchronize() {
    if (m_display) {
        XSync(m_display, False);
    }
}

X11PanelAppKit::PanelWindow* X11PanelAppKit::find(NSWindowRef window) {
    const auto found = m_windows.find(window);
    return found == m_windows.end() ? nullptr : &found->second;
}

const X11PanelAppKit::PanelWindow* X11PanelAppKit::find(NSWindowRef window) const {
    const auto found = m_windows.find(window);
    return found == m_windows.end() ? nullptr : &found->second;
}

X11PanelAppKit::PanelWindow* X11PanelAppKit::findX(XWindowId xid) {
    for (auto& [ref, window] : m_windows) {
        if (!window.closed && window.xid.get() == xid) {
            return &window;
        }
    }
    return nullptr;
}

XWindowId X11PanelAppKit::xWindow(NSWindowRef window) const {
    const auto* w = find(window);
    return w && !w->closed ? w->xid.get() : 0;
}

bool X11PanelAppKit::isVisible(NSWindowRef window) const {
    const auto* w = find(window);
    return w && w->visible;
}

bool X11PanelAppKit::isClosed(NSWindowRef window) const {
    const auto* w = find(window);
    return w && w->closed;
}

WindowPicture X11PanelAppKit::picture(NSWindowRef window) const {
    WindowPicture picture;
    const auto* w = find(window);
    if (!w) {
        return picture;
    }
    picture.size = w->frame.size;
    picture.background = w->background;
    if (w->background.kind == NSColor::Kind::Pattern) {
        const auto image = m_images.find(w->background.patternImage);
        picture.patternImage = image == m_images.end() ? nullptr : &image->second;
    }
    picture.subviews = w->subviews;
    return picture;
}

XRectangleInt X11PanelAppKit::mainDisplayRect() const {
    const Window root = DefaultRootWindow(m_display);
    XRectangleInt rect{0, 0,
                       static_cast<unsigned>(DisplayWidth(m_display, DefaultScreen(m_display))),
                       static_cast<unsigned>(DisplayHeight(m_display, DefaultScreen(m_display)))};
    int eventBase = 0, errorBase = 0;
    if (!XRRQueryExtension(m_display, &eventBase, &errorBase)) {
        return rect;
    }
    // The primary monitor, else the one at the root's origin, else the first.
    int count = 0;
    const std::unique_ptr<XRRMonitorInfo, MonitorsFree> monitorList(
        XRRGetMonitors(m_display, root, True, &count));
    const XRRMonitorInfo* monitors = monitorList.get();
    const XRRMonitorInfo* chosen = nullptr;
    for (int i = 0; i < count && !chosen; ++i) {
        if (monitors[i].primary) {
            chosen = &monitors[i];
        }
    }
    for (int i = 0; i < count && !chosen; ++i) {
        if (monitors[i].x == 0 && monitors[i].y == 0) {
            chosen = &monitors[i];
        }
    }
    if (!chosen && count > 0) {
        chosen = &monitors[0];
    }
    if (chosen) {
        rect = XRectangleInt{chosen->x, chosen->y, static_cast<unsigned>(chosen->width),
                             static_cast<unsigned>(chosen->height)};
    }
    return rect;
}

std::optional<NSScreen> X11PanelAppKit::mainScreen() {
    if (!open()) {
        return std::nullopt;
    }
    const auto rect = mainDisplayRect();
    return NSScreen{CGRectMake(0, 0, rect.width, rect.height)};
}

NSRect X11PanelAppKit::usedRectForTextContainer(const std::string& text, const NSFont& font,
                                                double containerWidth) {
    auto* d = drawing();
    const auto size = d ? d->measure(NSAttributedString(text), font, containerWidth) : NSSize{};
    return CGRectMake(0, 0, size.width, size.height);
}

NSSize X11PanelAppKit::sizeWithAttributes(const std::string& text, const NSFont& font) {
    auto* d = drawing();
    return d ? d->measure(NSAttributedString(text), font, -1) : NSSize{};
}

NSWindowRef X11PanelAppKit::initWithContentRect(NSRect contentRect, std::uint32_t, std::uint32_t,
                                                bool) {
    if (!open() || !m_visual) {
        return 0;
    }
    const auto rect = xRectangleForFrame(contentRect, mainDisplayRect());
    XSetWindowAttributes attributes{};
    // Override-redirect: no window manager places, decorates or focuses it.
    attributes.override_redirect = True;
    attributes.colormap = m_colormap.get();
    attributes.border_pixel = 0;
    attributes.background_pixel = 0;
    attributes.event_mask = ExposureMask | ButtonPressMask | ButtonReleaseMask | Button1MotionMask;
    XWindowOwner owned(
        m_display,
        XCreateWindow(m_display, DefaultRootWindow(m_display), rect.x, rect.y, rect.width,
                      rect.height, 0, 32, InputOutput, visual(m_visual),
                      CWOverrideRedirect | CWColormap | CWBorderPixel | CWBackPixel | CWEventMask,
                      &attributes));
    const Window xid = owned.get();
    // Never the keyboard's: no input hint for whoever reads it.
    const std::unique_ptr<XWMHints, XFreeCall> hints(XAllocWMHints());
    if (hints) {
        hints->flags = InputHint;
        hints->input = False;
        XSetWMHints(m_display, xid, hints.get());
    }
    const Atom type = XInternAtom(m_display, "_NET_WM_WINDOW_TYPE", False);
    Atom notification = XInternAtom(m_display, "_NET_WM_WINDOW_TYPE_NOTIFICATION", False);
    XChangeProperty(m_display, xid, type, XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(&notification), 1);

    const NSWindowRef ref = m_nextWindow++;
    PanelWindow& window = m_windows[ref];
    window.xid = std::move(owned);
    window.gc = GcOwner(XCreateGC(m_display, xid, 0, nullptr), GcFree{m_display});
    window.frame = contentRect;
    return ref;
}

NSRect X11PanelAppKit::frame(NSWindowRef window) {
    const auto* w = find(window);
    return w ? w->frame : NSRect{};
}

void X11PanelAppKit::setFrame(NSWindowRef window, NSRect frame, bool display, bool) {
    auto* w = find(window);
    if (!w || w->closed) {
        return;
    }
    w->frame = frame;
    const auto rect = xRectangleForFrame(frame, mainDisplayRect());
    XMoveResizeWindow(m_display, w->xid.get(), rect.x, rect.y, rect.width, rect.height);
    if (display) {
        redraw(*w);
    }
    XFlush(m_display);
}

void X11PanelAppKit::setTitle(NSWindowRef window, const std::string& title) {
    if (auto* w = find(window); w && !w->closed) {
        w->title = title;
        XStoreName(m_display, w->xid.get(), title.c_str());
        setUtf8Property(m_display, w->xid.get(), "_NET_WM_NAME", title);
    }
}

void X11PanelAppKit::setBackgroundColor(NSWindowRef window, const NSColor& color) {
    if (auto* w = find(window); w && !w->closed) {
        w->background = color;
        dropUnusedImages();
        redraw(*w);
    }
}

void X11PanelAppKit::setAlphaValue(NSWindowRef window, double alpha) {
    if (auto* w = find(window)) {
        w->alpha = alpha;
    }
}

void X11PanelAppKit::setOpaque(NSWindowRef window, bool opaque) {
    if (auto* w = find(window)) {
        w->opaque = opaque;
    }
}

void X11PanelAppKit::setHasShadow(NSWindowRef window, bool hasShadow) {
    if (auto* w = find(window)) {
        w->hasShadow = hasShadow;
    }
}

void X11PanelAppKit::setMovableByWindowBackground(NSWindowRef window, bool movable) {
    if (auto* w = find(window)) {
        w->movable = movable;
    }
}

void X11PanelAppKit::addSubview(NSWindowRef window, NSViewSpec view) {
    if (auto* w = find(window); w && !w->closed) {
        if (view.kind == NSViewSpec::Kind::TextField) {
            // The words the panel shows, for whoever cannot read its pixels.
            setUtf8Property(
                m_display, w->xid.get(), kTextProperty,
                NSAttributedString::fromValue(view.properties.get("attributedStringValue"))
                    .string());
        }
        w->subviews.push_back(std::move(view));
        redraw(*w);
    }
}

void X11PanelAppKit::orderFront(NSWindowRef window) {
    auto* w = find(window);
    if (!w || w->closed) {
        return;
    }
    w->visible = true;
    XMapRaised(m_display, w->xid.get());
    redraw(*w);
    XFlush(m_display);
}

void X11PanelAppKit::orderOut(NSWindowRef window) {
    auto* w = find(window);
    if (!w || w->closed || !w->visible) {
        return;
    }
    w->visible = false;
    w->pressedButton = -1;
    w->dragging = false;
    XUnmapWindow(m_display, w->xid.get());
    XFlush(m_display);
}

void X11PanelAppKit::display(NSWindowRef window) {
    if (auto* w = find(window); w && !w->closed) {
        redraw(*w);
        XFlush(m_display);
    }
}

void X11PanelAppKit::close(NSWindowRef window) {
    auto* w = find(window);
    if (!w || w->closed) {
        return;
    }
    destroy(*w);
    dropUnusedImages();
    XFlush(m_display);
}

void X11PanelAppKit::destroy(PanelWindow& window) {
    window.gc.reset();
    window.xid.reset();
    window.visible = false;
    window.closed = true;
}

void X11PanelAppKit::redraw(PanelWindow& window) {
    if (!window.visible || window.closed) {
        return;
    }
    NSWindowRef ref = 0;
    for (const auto& [r, w] : m_windows) {
        if (&w == &window) {
            ref = r;
        }
    }
    auto* d = drawing();
    if (!d) {
        return;
    }
    auto drawn = d->render(picture(ref), kSystemFontSize);
    const int width = drawn.width;
    const int height = drawn.height;
    if (drawn.pixels.empty()) {
        return;
    }
    // The pixels go as they are: premultiplied ARGB is the 32-bit visual's format.
    // The data stays the drawn image's.
    const std::unique_ptr<XImage, BorrowingImageFree> image(XCreateImage(
        m_display, visual(m_visual), 32, ZPixmap, 0, reinterpret_cast<char*>(drawn.pixels.data()),
        static_cast<unsigned>(width), static_cast<unsigned>(height), 32, drawn.stride));
    if (!image) {
        return;
    }
    image->byte_order = littleEndian() ? LSBFirst : MSBFirst;
    XPutImage(m_display, window.xid.get(), window.gc.get(), image.get(), 0, 0, 0, 0,
              static_cast<unsigned>(width), static_cast<unsigned>(height));
}

void X11PanelAppKit::handle(const void* xevent) {
    const XEvent& event = *static_cast<const XEvent*>(xevent);
    switch (event.type) {
        case Expose:
            if (auto* w = findX(event.xexpose.window); w && event.xexpose.count == 0) {
                redraw(*w);
            }
            break;
        case ButtonPress: {
            auto* w = findX(event.xbutton.window);
            if (!w || event.xbutton.button != Button1) {
                break;
            }
            // Views are placed with the origin at the window's lower left.
            const double x = event.xbutton.x;
            const double y = w->frame.size.height - event.xbutton.y;
            w->pressedButton = -1;
            for (std::size_t i = 0; i < w->subviews.size(); ++i) {
                const auto& view = w->subviews[i];
                if (view.kind == NSViewSpec::Kind::Button && view.action &&
                    contains(view.frame, x, y)) {
                    w->pressedButton = static_cast<int>(i);
                }
            }
            if (w->pressedButton < 0 && w->movable) {
                w->dragging = true;
                w->dragX = event.xbutton.x;
                w->dragY = event.xbutton.y;
            }
            break;
        }
        case MotionNotify: {
            auto* w = findX(event.xmotion.window);
            if (!w || !w->dragging) {
                break;
            }
            const auto main = mainDisplayRect();
            auto rect = xRectangleForFrame(w->frame, main);
            rect.x = event.xmotion.x_root - w->dragX;
            rect.y = event.xmotion.y_root - w->dragY;
            XMoveWindow(m_display, w->xid.get(), rect.x, rect.y);
            w->frame.origin = frameForXRectangle(rect, main).origin;
            break;
        }
        case ButtonRelease: {
            auto* w = findX(event.xbutton.window);
            if (!w || event.xbutton.button != Button1) {
                break;
            }
            w->dragging = false;
            const int pressed = w->pressedButton;
            w->pressedButton = -1;
            if (pressed < 0) {
                break;
            }
            // A button acts when the press and the release are both on it.
            const auto& view = w->subviews[static_cast<std::size_t>(pressed)];
            if (contains(view.frame, event.xbutton.x, w->frame.size.height - event.xbutton.y)) {
                const auto action = view.action;
                action();
            }
            break;
        }
        default:
            break;
    }
}

NSImageRef X11PanelAppKit::initWithSize(NSSize size) {
    const NSImageRef ref = m_nextImage++;
    m_images[ref].size = size;
    return ref;
}

NSSize X11PanelAppKit::size(NSImageRef image) {
    const auto found = m_images.find(image);
    return found == m_images.end() ? NSSize{0, 0} : found->second.size;
}

void X11PanelAppKit::lockFocus(NSImageRef image) {
    m_focus.push_back(image);
}

void X11PanelAppKit::unlockFocus(NSImageRef image) {
    if (!m_focus.empty() && m_focus.back() == image) {
        m_focus.pop_back();
    }
}

ImageRecord& X11PanelAppKit::focused() {
    // Drawing without focus goes nowhere, as on the original host.
    static thread_local ImageRecord nowhere;
    if (m_focus.empty()) {
        nowhere = ImageRecord{};
        return nowhere;
    }
    return m_images[m_focus.back()];
}

void X11PanelAppKit::fill(const NSBezierPath& path, const NSColor& color) {
    focused().fills.push_back({path, color});
}

void X11PanelAppKit::drawInRect(const std::string& text, NSRect rect, const Value& attributes) {
    focused().texts.push_back({text, rect, attributes});
}

void X11PanelAppKit::dropUnusedImages() {
    for (auto it = m_images.begin(); it != m_images.end();) {
        const NSImageRef ref = it->first;
        const bool drawing = std::find(m_focus.begin(), m_focus.end(), ref) != m_focus.end();
        const bool shown = std::any_of(m_windows.begin(), m_windows.end(), [ref](const auto& w) {
            return !w.second.closed && w.second.background.kind == NSColor::Kind::Pattern &&
                   w.second.background.patternImage == ref;
        });
        it = drawing || shown ? std::next(it) : m_images.erase(it);
    }
}

}  // namespace qn::platform::panel
