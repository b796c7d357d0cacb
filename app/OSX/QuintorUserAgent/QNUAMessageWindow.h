#pragma once
// The borderless floating panel of a user message: draws its own background picture
// (rounded body, title strip, title), holds the text field and the icon button that hides it.

#include <memory>
#include <string>

#include "platform/AppKit.h"
#include "platform/AttributedString.h"

namespace qn::app::osx::qnuapp {

class QNUAMessageWindow {
  public:
    static constexpr double kTitleStripHeight = 19.0;
    static constexpr double kCornerRadius = 6.0;
    static constexpr double kTextLeft = 30.0;
    static constexpr double kTextWidth = 365.0;
    static constexpr double kIconLeft = 5.0;
    static constexpr double kIconWidth = 20.0;
    static constexpr double kIconHeight = 80.0;
    static constexpr double kPanelWhite = 0.9;
    static constexpr double kPanelAlpha = 0.75;

    // The style mask is always borderless; null when the host makes no window.
    static std::unique_ptr<QNUAMessageWindow> initWithContentRect_styleMask_backing_defer(
        platform::NSRect contentRect, std::uint32_t styleMask, std::uint32_t backing, bool defer);
    ~QNUAMessageWindow() = default;
    QNUAMessageWindow(const QNUAMessageWindow&) = delete;
    QNUAMessageWindow& operator=(const QNUAMessageWindow&) = delete;

    void setMessage_withHeight(const platform::NSAttributedString& message, float height);
    void awakeFromNib();
    platform::NSColor sizedWindowBackground();
    void setTitle(const std::string& title);
    void windowDidResize();
    void setFrame_display_animate(platform::NSRect frame, bool display, bool animate);
    bool canBecomeKeyWindow() const { return false; }

    void orderFront();
    void orderOut();
    void close();

    platform::NSWindowRef windowRef() const { return m_window; }
    float textHeight() const { return m_textHeight; }

  private:
    explicit QNUAMessageWindow(platform::NSWindowRef window) : m_window(window) {}
    void addTextMessageField();
    void addQNIcon();

    platform::NSWindowRef m_window;
    // True while setFrame_display_animate runs, so that a resize then also redraws.
    bool m_forceDisplay = false;
    // A copy: the caller's text need not outlive the window.
    platform::NSAttributedString m_message;
    float m_textHeight = 0;
    // The inherited title, which the picture draws.
    std::string m_title;
};

}  // namespace qn::app::osx::qnuapp
