#include "app/OSX/QuintorUserAgent/MessageWindowRecorder.h"

#include "app/OSX/QuintorUserAgent/WindowMessagePanel.h"

namespace qn::app::osx::qnuapp {

class MessageWindowRecorder::Controller : public MessagePanel {
  public:
    Controller(MessageWindowRecorder& recorder, std::size_t number)
        : m_recorder(recorder), m_number(number) {}
    void showWindow_forTimeInterval_withTitle(const MessageText& message, int interval,
                                              const std::string& title) override {
        m_recorder.record(MessageWindowRequest{title, message, interval, m_number});
        // The request is on record; the host still shows the panel.
        WindowMessagePanel::instance().showWindow_forTimeInterval_withTitle(message, interval,
                                                                            title);
    }

  private:
    MessageWindowRecorder& m_recorder;
    std::size_t m_number;
};

MessageWindowRecorder::MessageWindowRecorder(Listener listener)
    : m_listener(std::move(listener)), m_factory([this]() -> MessagePanel* {
          m_controllers.push_back(std::make_unique<Controller>(*this, m_controllers.size() + 1));
          return m_controllers.back().get();
      }) {}

MessageWindowRecorder::~MessageWindowRecorder() = default;

void MessageWindowRecorder::record(MessageWindowRequest request) {
    m_requests.push_back(std::move(request));
    if (m_listener) {
        m_listener(m_requests.back());
    }
}

}  // namespace qn::app::osx::qnuapp
