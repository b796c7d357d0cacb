#pragma once
// AppKit's windows on X: each message window is an override-redirect ARGB window on the
// main display, drawn from the host's own drawing record by the panel renderer; text is
// measured with Pango. The windows never take the focus and never grab the pointer or
// the keyboard: a click on a button runs its action, a drag elsewhere moves a movable
// window (within the press's implicit grab only).
//
// Workspace notifications come from the session (logind) and are posted on the
// centre given at construction; application start has nothing to do on X and is only
// recorded. X events are read only when the owner calls
// processPendingEvents(): when connectionNumber() is readable, and before the loop
// sleeps (an sd-event prepare callback), because a round trip of the panel's own (the
// main screen's size) may already have read events into Xlib's queue.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/AppKit.h"
#include "platform/DrawingRecord.h"
#include "platform/linux/panel/PanelDrawingModule.h"
#include "platform/linux/panel/ScreenPlacement.h"
#include "platform/linux/panel/XlibOwners.h"

namespace qn::platform::panel {

class X11PanelAppKit : public AppKit {
  public:
    static constexpr double kSystemFontSize = 13.0;
    // A window's title is its WM_NAME and _NET_WM_NAME; the plain text of its message
    // field is this UTF-8 property.
    static constexpr const char* kTextProperty = "_QUINTOR_PANEL_TEXT";

    // Opens its own connection to `displayName` (null: the DISPLAY variable, read by Xlib).
    // Without a connection there is no main screen and no window can be made.
    X11PanelAppKit(NSNotificationCenter& workspace, std::string resourceDirectory,
                   const char* displayName);
    // Opens its own connection (to DISPLAY) only when first asked for the main screen or
    // a window, and then gives its descriptor to `opened`, for the owner to watch: most
    // runs never show a panel, and the connection costs the start milliseconds.
    struct OpenLater {
        std::function<void(int descriptor)> opened;
    };
    X11PanelAppKit(NSNotificationCenter& workspace, std::string resourceDirectory, OpenLater later);
    // Uses a connection the caller owns and keeps open longer than this object.
    X11PanelAppKit(NSNotificationCenter& workspace, std::string resourceDirectory,
                   _XDisplay* display);
    ~X11PanelAppKit() override;
    X11PanelAppKit(const X11PanelAppKit&) = delete;
    X11PanelAppKit& operator=(const X11PanelAppKit&) = delete;

    bool connected() const { return m_display != nullptr; }
    // The connection's descriptor, -1 without one.
    int connectionNumber() const;
    // Reads and handles every event already queued or readable, without blocking.
    void processPendingEvents();
    // Waits until the server has carried out every request made so far.
    void synchronize();

    // The X window behind a window, 0 when none; the window's picture as drawn.
    XWindowId xWindow(NSWindowRef window) const;
    WindowPicture picture(NSWindowRef window) const;
    bool isVisible(NSWindowRef window) const;
    bool isClosed(NSWindowRef window) const;

    // AppKit.
    void sharedApplication() override { m_applicationMade = true; }
    void finishLaunching() override { m_launched = true; }
    bool applicationLaunched() const { return m_applicationMade && m_launched; }
    NSNotificationCenter& workspaceNotificationCenter() override { return m_workspace; }
    std::optional<NSScreen> mainScreen() override;
    double systemFontSize() override { return kSystemFontSize; }
    double systemFontSizeForControlSize(int) override { return kSystemFontSize; }
    NSRect usedRectForTextContainer(const std::string& text, const NSFont& font,
                                    double containerWidth) override;
    NSSize sizeWithAttributes(const std::string& text, const NSFont& font) override;

    NSWindowRef initWithContentRect(NSRect contentRect, std::uint32_t styleMask,
                                    std::uint32_t backing, bool defer) override;
    NSRect frame(NSWindowRef window) override;
    void setFrame(NSWindowRef window, NSRect frame, bool display, bool animate) override;
    void setTitle(NSWindowRef window, const std::string& title) override;
    void setBackgroundColor(NSWindowRef window, const NSColor& color) override;
    void setAlphaValue(NSWindowRef window, double alpha) override;
    void setOpaque(NSWindowRef window, bool opaque) override;
    void setHasShadow(NSWindowRef window, bool hasShadow) override;
    void setMovableByWindowBackground(NSWindowRef window, bool movable) override;
    void addSubview(NSWindowRef window, NSViewSpec view) override;
    void orderFront(NSWindowRef window) override;
    void orderOut(NSWindowRef window) override;
    void display(NSWindowRef window) override;
    void close(NSWindowRef window) override;

    NSImageRef initWithSize(NSSize size) override;
    NSSize size(NSImageRef image) override;
    void lockFocus(NSImageRef image) override;
    void unlockFocus(NSImageRef image) override;
    void fill(const NSBezierPath& path, const NSColor& color) override;
    void drawInRect(const std::string& text, NSRect rect, const Value& attributes) override;

  private:
    struct PanelWindow {
        XWindowOwner xid;
        // After the window, so that it goes first.
        GcOwner gc;
        NSRect frame;
        std::string title;
        NSColor background = NSColor::clearColor();
        double alpha = 1.0;
        bool opaque = true;
        bool hasShadow = false;
        bool movable = false;
        std::vector<NSViewSpec> subviews;
        bool visible = false;
        bool closed = false;
        // A press on a button waits for its release there; a press elsewhere drags.
        int pressedButton = -1;
        bool dragging = false;
        int dragX = 0, dragY = 0;
    };

    void setUp();
    // Opens the connection now if it was left for later; false without one.
    bool open();
    // The drawing module, loaded at the first measurement or drawing; null when it
    // cannot be loaded (no text is then measured, no picture drawn).
    PanelDrawing* drawing();
    PanelWindow* find(NSWindowRef window);
    const PanelWindow* find(NSWindowRef window) const;
    PanelWindow* findX(XWindowId xid);
    ImageRecord& focused();
    XRectangleInt mainDisplayRect() const;
    // Puts the window's picture on the screen while it is shown.
    void redraw(PanelWindow& window);
    // Images live while a window's background shows them or while drawing goes into them.
    void dropUnusedImages();
    void handle(const void* xevent);
    void destroy(PanelWindow& window);

    NSNotificationCenter& m_workspace;
    bool m_applicationMade = false;
    bool m_launched = false;
    std::string m_resourceDirectory;
    std::unique_ptr<PanelDrawingModule> m_drawingModule;
    std::optional<OpenLater> m_later;
    // Before everything made on it.
    DisplayOwner m_ownDisplay;
    _XDisplay* m_display = nullptr;
    void* m_visual = nullptr;  // the 32-bit TrueColor visual
    ColormapOwner m_colormap;
    std::map<NSWindowRef, PanelWindow> m_windows;
    NSWindowRef m_nextWindow = 1;
    std::map<NSImageRef, ImageRecord> m_images;
    NSImageRef m_nextImage = 1;
    std::vector<NSImageRef> m_focus;
};

}  // namespace qn::platform::panel
