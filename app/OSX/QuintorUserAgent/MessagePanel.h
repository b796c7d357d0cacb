#pragma once
// The one thing the Manager notification observer asks of the message panel: show this
// text, with this title, for a while. Each message gets a panel controller of its own
// that nobody deletes (the panel closes itself when its time is up), so they come from a
// factory that keeps them. Without a factory of its own a message goes to the panel
// window itself (WindowMessagePanel).

#include <functional>
#include <string>

#include "app/OSX/QuintorUserAgent/MessageText.h"

namespace qn::app::osx::qnuapp {

class MessagePanel {
  public:
    virtual ~MessagePanel() = default;

    // The panel stays its own fixed time; the interval is taken and not used.
    virtual void showWindow_forTimeInterval_withTitle(const MessageText& message, int interval,
                                                      const std::string& title) = 0;
    void showWindow_forTimeInterval(const MessageText& message, int interval) {
        showWindow_forTimeInterval_withTitle(message, interval, std::string());
    }

    // A controller from the installed factory, or the panel window's. The factory owns
    // what it makes.
    static MessagePanel* make();

    using Factory = std::function<MessagePanel*()>;
    // Installs a factory until the returned guard goes, which puts the previous one back.
    class ScopedFactory {
      public:
        explicit ScopedFactory(Factory factory);
        ~ScopedFactory();
        ScopedFactory(const ScopedFactory&) = delete;
        ScopedFactory& operator=(const ScopedFactory&) = delete;

      private:
        Factory m_previous;
    };
};

}  // namespace qn::app::osx::qnuapp
