#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"

#include <algorithm>

#include "platform/Backend.h"

namespace qn::app::osx::qnuapp {

using namespace platform;

std::shared_ptr<QNUAMessageWindowController> QNUAMessageWindowController::create() {
    return std::shared_ptr<QNUAMessageWindowController>(new QNUAMessageWindowController());
}

void QNUAMessageWindowController::showWindow_forTimeInterval_withTitle(
    const NSAttributedString& message, int, const std::string& title) {
    auto& kit = appKit();
    const std::string& text = message.string();
    const NSFont font{kit.systemFontSize(), false};
    // The container is unbounded in height and has no padding: only the width wraps.
    const auto used = kit.usedRectForTextContainer(text, font, QNUAMessageWindow::kTextWidth);
    const float measured = static_cast<float>(used.size.height);
    const float textHeight = std::max(static_cast<float>(kMinimalHeight - kTextMargin), measured);
    const double windowHeight = kTextMargin + kTextMargin + textHeight;

    double screenWidth = 0;
    double screenHeight = 0;
    if (const auto screen = kit.mainScreen()) {
        // The origin of the main screen is not used.
        screenWidth = screen->frame.size.width;
        screenHeight = screen->frame.size.height;
    }
    const NSRect contentRect =
        CGRectMake(screenWidth - kWindowWidth - kRightGap, screenHeight - windowHeight - kTopGap,
                   kWindowWidth, windowHeight);
    m_window = QNUAMessageWindow::initWithContentRect_styleMask_backing_defer(
        contentRect, NSBorderlessWindowMask, NSBackingStoreBuffered, false);
    if (m_window) {
        m_window->setMessage_withHeight(message, textHeight);
        m_window->setTitle(title);
        m_window->awakeFromNib();
        m_window->orderFront();
    }

    auto self = shared_from_this();
    foundation().scheduledTimerWithTimeInterval(
        kLifeSeconds, [self](NSTimer&) { self->closeWindow(); }, Value(), false);
}

void QNUAMessageWindowController::showWindow_forTimeInterval(const NSAttributedString& message,
                                                             int interval) {
    showWindow_forTimeInterval_withTitle(message, interval, "");
}

void QNUAMessageWindowController::closeWindow() {
    if (m_window) {
        m_window->close();
    }
}

}  // namespace qn::app::osx::qnuapp
