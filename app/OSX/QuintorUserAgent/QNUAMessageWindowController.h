#pragma once
// Shows one user message: measures the text, sizes and places the panel in the top right
// corner of the main screen, and closes it after its fixed life.

#include <memory>
#include <string>

#include "app/OSX/QuintorUserAgent/QNUAMessageWindow.h"
#include "platform/AttributedString.h"

namespace qn::app::osx::qnuapp {

class QNUAMessageWindowController
    : public std::enable_shared_from_this<QNUAMessageWindowController> {
  public:
    static constexpr double kWindowWidth = 400.0;
    static constexpr double kRightGap = 10.0;
    static constexpr double kTopGap = 30.0;
    static constexpr double kTextMargin = 25.0;
    static constexpr double kMinimalHeight = 80.0;  // less one margin
    static constexpr double kLifeSeconds = 15.0;

    // A controller lives until its timer has closed the window: the timer holds it, so the
    // maker may drop its own reference right after showing.
    static std::shared_ptr<QNUAMessageWindowController> create();

    // The interval is not used: every window lives kLifeSeconds.
    void showWindow_forTimeInterval_withTitle(const platform::NSAttributedString& message,
                                              int interval, const std::string& title);
    void showWindow_forTimeInterval(const platform::NSAttributedString& message, int interval);
    void closeWindow();

    // Null before showing, or when the host made no window.
    QNUAMessageWindow* window() const { return m_window.get(); }

  private:
    QNUAMessageWindowController() = default;
    std::unique_ptr<QNUAMessageWindow> m_window;
};

}  // namespace qn::app::osx::qnuapp
