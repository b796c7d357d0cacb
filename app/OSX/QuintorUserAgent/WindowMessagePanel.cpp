#include "app/OSX/QuintorUserAgent/WindowMessagePanel.h"

#include "app/OSX/QuintorUserAgent/Hyperlink.h"
#include "app/OSX/QuintorUserAgent/QNUAMessageWindowController.h"

namespace qn::app::osx::qnuapp {

WindowMessagePanel& WindowMessagePanel::instance() {
    static WindowMessagePanel panel;
    return panel;
}

platform::NSAttributedString WindowMessagePanel::attributedText(const MessageText& message) {
    platform::NSAttributedString text;
    for (const auto& run : message.runs) {
        text.appendAttributedString(
            run.link.empty()
                ? platform::NSAttributedString(run.text)
                : hyperlinkFromString_withURL(run.text, platform::NSURL::URLWithString(run.link)));
    }
    return text;
}

void WindowMessagePanel::showWindow_forTimeInterval_withTitle(const MessageText& message,
                                                              int interval,
                                                              const std::string& title) {
    const auto controller = QNUAMessageWindowController::create();
    // The message without a title is the upgrade message, shown under the panel's own title.
    if (title.empty()) {
        controller->showWindow_forTimeInterval(attributedText(message), interval);
    } else {
        controller->showWindow_forTimeInterval_withTitle(attributedText(message), interval, title);
    }
}

}  // namespace qn::app::osx::qnuapp
