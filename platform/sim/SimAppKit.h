#pragma once
// AppKit on the simulated host: workspace notifications on the run loop, a main screen,
// text measured by a fixed-pitch model, and windows and images kept as data.

#include <functional>
#include <optional>
#include <vector>

#include "platform/AppKit.h"
#include "platform/sim/SimImage.h"
#include "platform/sim/SimNotificationCenter.h"
#include "platform/sim/SimWindow.h"

namespace qn::platform::sim {

class SimAppKit : public AppKit {
  public:
    explicit SimAppKit(SimRunLoop& runLoop)
        : m_workspaceCenter(runLoop, SimNotificationCenter::Delivery::RunLoop) {}

    void sharedApplication() override { m_applicationMade = true; }
    void finishLaunching() override { m_launched = true; }
    SimNotificationCenter& workspaceNotificationCenter() override { return m_workspaceCenter; }
    std::optional<NSScreen> mainScreen() override { return m_mainScreen; }
    double systemFontSize() override { return 13.0; }
    double systemFontSizeForControlSize(int) override { return 13.0; }
    NSRect usedRectForTextContainer(const std::string& text, const NSFont& font,
                                    double containerWidth) override;
    NSSize sizeWithAttributes(const std::string& text, const NSFont& font) override;

    NSWindowRef initWithContentRect(NSRect contentRect, std::uint32_t styleMask,
                                    std::uint32_t backing, bool defer) override;
    NSRect frame(NSWindowRef window) override { return at(window).frame; }
    void setFrame(NSWindowRef window, NSRect frame, bool display, bool animate) override;
    void setTitle(NSWindowRef window, const std::string& title) override {
        at(window).title = title;
    }
    void setBackgroundColor(NSWindowRef window, const NSColor& color) override {
        at(window).background = color;
    }
    void setAlphaValue(NSWindowRef window, double alpha) override { at(window).alpha = alpha; }
    void setOpaque(NSWindowRef window, bool opaque) override { at(window).opaque = opaque; }
    void setHasShadow(NSWindowRef window, bool hasShadow) override {
        at(window).hasShadow = hasShadow;
    }
    void setMovableByWindowBackground(NSWindowRef window, bool movable) override {
        at(window).movableByWindowBackground = movable;
    }
    void addSubview(NSWindowRef window, NSViewSpec view) override {
        at(window).subviews.push_back(std::move(view));
    }
    void orderFront(NSWindowRef window) override;
    void orderOut(NSWindowRef window) override;
    void display(NSWindowRef window) override { ++at(window).displayCount; }
    void close(NSWindowRef window) override;

    NSImageRef initWithSize(NSSize size) override;
    NSSize size(NSImageRef image) override { return image_at(image).size; }
    void lockFocus(NSImageRef image) override { m_focus.push_back(image); }
    void unlockFocus(NSImageRef image) override;
    void fill(const NSBezierPath& path, const NSColor& color) override;
    void drawInRect(const std::string& text, NSRect rect, const Value& attributes) override;

    // The world.
    void setMainScreen(std::optional<NSScreen> screen) { m_mainScreen = screen; }
    // The text model: every character is this wide, every line this high.
    void setTextMetrics(double characterWidth, double lineHeight) {
        m_characterWidth = characterWidth;
        m_lineHeight = lineHeight;
    }
    const std::vector<SimWindow>& windows() const { return m_windows; }
    SimWindow* window(NSWindowRef id);
    const SimImage* image(NSImageRef id) const;
    // A click on a button of the window: its action runs. A closed window takes no clicks.
    bool click(NSWindowRef window, std::size_t subview);
    // The window's whole picture, for a renderer; its pattern image points into this host.
    WindowPicture picture(NSWindowRef window) const;

    // Told when a window comes to the screen, leaves it or closes (not for calls that
    // change nothing).
    enum class WindowEvent { Shown, Hidden, Closed };
    using WindowListener = std::function<void(const SimWindow& window, WindowEvent event)>;
    void setWindowListener(WindowListener listener) { m_windowListener = std::move(listener); }
    bool applicationLaunched() const { return m_applicationMade && m_launched; }

  private:
    SimWindow& at(NSWindowRef id);
    SimImage& image_at(NSImageRef id);
    SimImage* focused();

    SimNotificationCenter m_workspaceCenter;
    std::optional<NSScreen> m_mainScreen = NSScreen{CGRectMake(0, 0, 1920, 1080)};
    double m_characterWidth = 7.0;
    double m_lineHeight = 15.0;
    std::vector<SimWindow> m_windows;
    std::vector<SimImage> m_images;
    std::vector<NSImageRef> m_focus;
    WindowListener m_windowListener;
    bool m_applicationMade = false;
    bool m_launched = false;
};

}  // namespace qn::platform::sim
