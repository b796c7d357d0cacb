#pragma once
// Application start, workspace notifications, screens, floating windows with their views,
// text measurement and drawing into images.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Foundation.h"
#include "platform/Quartz.h"
#include "platform/Value.h"

namespace qn::platform {

using NSRect = CGRect;
using NSPoint = CGPoint;
using NSSize = CGSize;
using NSWindowRef = std::uint32_t;  // 0 is no window
using NSImageRef = std::uint32_t;   // 0 is no image

inline constexpr const char* NSWorkspaceSessionDidBecomeActiveNotification =
    "NSWorkspaceSessionDidBecomeActiveNotification";
inline constexpr const char* NSWorkspaceSessionDidResignActiveNotification =
    "NSWorkspaceSessionDidResignActiveNotification";
inline constexpr const char* NSWorkspaceWillSleepNotification = "NSWorkspaceWillSleepNotification";
inline constexpr const char* NSWorkspaceDidWakeNotification = "NSWorkspaceDidWakeNotification";
inline constexpr const char* NSWorkspaceWillPowerOffNotification =
    "NSWorkspaceWillPowerOffNotification";

constexpr std::uint32_t NSBorderlessWindowMask = 0;
constexpr std::uint32_t NSBackingStoreBuffered = 2;

struct NSColor {
    enum class Kind { Calibrated, Pattern };
    Kind kind = Kind::Calibrated;
    double red = 0, green = 0, blue = 0, alpha = 1;
    NSImageRef patternImage = 0;

    static NSColor colorWithCalibratedWhite(double white, double alpha) {
        return NSColor{Kind::Calibrated, white, white, white, alpha, 0};
    }
    static NSColor clearColor() { return NSColor{Kind::Calibrated, 0, 0, 0, 0, 0}; }
    static NSColor blackColor() { return NSColor{Kind::Calibrated, 0, 0, 0, 1, 0}; }
    static NSColor blueColor() { return NSColor{Kind::Calibrated, 0, 0, 1, 1, 0}; }
    static NSColor colorWithPatternImage(NSImageRef image) {
        return NSColor{Kind::Pattern, 0, 0, 0, 1, image};
    }
};

struct NSFont {
    double pointSize = 0;
    bool bold = false;
};

// A path as the list of NSBezierPath calls that built it.
struct NSBezierPath {
    struct Element {
        enum class Kind { MoveTo, LineTo, ArcFromPointToPoint, Close };
        Kind kind = Kind::MoveTo;
        NSPoint point1;
        NSPoint point2;
        double radius = 0;
    };
    std::vector<Element> elements;

    void moveToPoint(NSPoint p) { elements.push_back({Element::Kind::MoveTo, p, {}, 0}); }
    void lineToPoint(NSPoint p) { elements.push_back({Element::Kind::LineTo, p, {}, 0}); }
    void appendBezierPathWithArcFromPoint(NSPoint from, NSPoint to, double radius) {
        elements.push_back({Element::Kind::ArcFromPointToPoint, from, to, radius});
    }
    void closePath() { elements.push_back({Element::Kind::Close, {}, {}, 0}); }
};

// A text field or a button inside a window's content view. Properties carry the view's
// settings by their selector names ("editable", "bordered", "alignment",
// "attributedStringValue", "imageNamed", ...).
struct NSViewSpec {
    enum class Kind { TextField, Button };
    Kind kind = Kind::TextField;
    NSRect frame;
    Value properties;
    // A button's target and action.
    std::function<void()> action;
};

struct NSScreen {
    NSRect frame;
};

class AppKit {
  public:
    virtual ~AppKit() = default;

    // [NSApplication sharedApplication], [NSApp finishLaunching].
    virtual void sharedApplication() = 0;
    virtual void finishLaunching() = 0;
    // [[NSWorkspace sharedWorkspace] notificationCenter]; delivers on the main run loop.
    virtual NSNotificationCenter& workspaceNotificationCenter() = 0;

    // [NSScreen mainScreen]; nothing when there is no main screen.
    virtual std::optional<NSScreen> mainScreen() = 0;

    virtual double systemFontSize() = 0;
    virtual double systemFontSizeForControlSize(int controlSize) = 0;
    // The rectangle used by the text laid out in a container of the given width and
    // unbounded height, with no line fragment padding.
    virtual NSRect usedRectForTextContainer(const std::string& text, const NSFont& font,
                                            double containerWidth) = 0;
    virtual NSSize sizeWithAttributes(const std::string& text, const NSFont& font) = 0;

    // Windows.
    virtual NSWindowRef initWithContentRect(NSRect contentRect, std::uint32_t styleMask,
                                            std::uint32_t backing, bool defer) = 0;
    virtual NSRect frame(NSWindowRef window) = 0;
    virtual void setFrame(NSWindowRef window, NSRect frame, bool display, bool animate) = 0;
    virtual void setTitle(NSWindowRef window, const std::string& title) = 0;
    virtual void setBackgroundColor(NSWindowRef window, const NSColor& color) = 0;
    virtual void setAlphaValue(NSWindowRef window, double alpha) = 0;
    virtual void setOpaque(NSWindowRef window, bool opaque) = 0;
    virtual void setHasShadow(NSWindowRef window, bool hasShadow) = 0;
    virtual void setMovableByWindowBackground(NSWindowRef window, bool movable) = 0;
    virtual void addSubview(NSWindowRef window, NSViewSpec view) = 0;
    virtual void orderFront(NSWindowRef window) = 0;
    virtual void orderOut(NSWindowRef window) = 0;
    virtual void display(NSWindowRef window) = 0;
    virtual void close(NSWindowRef window) = 0;

    // Drawing into an image between lockFocus and unlockFocus.
    virtual NSImageRef initWithSize(NSSize size) = 0;
    virtual NSSize size(NSImageRef image) = 0;
    virtual void lockFocus(NSImageRef image) = 0;
    virtual void unlockFocus(NSImageRef image) = 0;
    virtual void fill(const NSBezierPath& path, const NSColor& color) = 0;
    virtual void drawInRect(const std::string& text, NSRect rect, const Value& attributes) = 0;
};

}  // namespace qn::platform
