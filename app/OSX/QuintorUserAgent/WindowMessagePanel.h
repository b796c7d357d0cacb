#pragma once
// The message panel for real: each message gets a new QNUAMessageWindowController, which
// keeps itself alive until its window has closed. Stateless, so one instance serves
// every message; it is what MessagePanel::make gives when no other factory is installed.

#include "app/OSX/QuintorUserAgent/MessagePanel.h"
#include "platform/AttributedString.h"

namespace qn::app::osx::qnuapp {

class WindowMessagePanel : public MessagePanel {
  public:
    static WindowMessagePanel& instance();

    void showWindow_forTimeInterval_withTitle(const MessageText& message, int interval,
                                              const std::string& title) override;

    // Plain runs as they are, link runs through hyperlinkFromString:withURL:.
    static platform::NSAttributedString attributedText(const MessageText& message);
};

}  // namespace qn::app::osx::qnuapp
