#pragma once
// A message panel that only records what it was asked to show: the stand-in behind the
// panel's interface on the simulated host, until the panel itself is built. It installs
// itself as the controller factory for its own life and owns the controllers it makes.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/OSX/QuintorUserAgent/MessagePanel.h"

namespace qn::app::osx::qnuapp {

struct MessageWindowRequest {
    std::string title;
    MessageText message;
    int interval = 0;
    // Which controller showed it, counting from 1.
    std::size_t controller = 0;
};

class MessageWindowRecorder {
  public:
    // Told of each request as it is made.
    using Listener = std::function<void(const MessageWindowRequest& request)>;
    explicit MessageWindowRecorder(Listener listener = nullptr);
    ~MessageWindowRecorder();
    MessageWindowRecorder(const MessageWindowRecorder&) = delete;
    MessageWindowRecorder& operator=(const MessageWindowRecorder&) = delete;

    const std::vector<MessageWindowRequest>& requests() const { return m_requests; }
    std::size_t controllers() const { return m_controllers.size(); }

  private:
    class Controller;
    void record(MessageWindowRequest request);

    Listener m_listener;
    std::vector<MessageWindowRequest> m_requests;
    std::vector<std::unique_ptr<Controller>> m_controllers;
    MessagePanel::ScopedFactory m_factory;
};

}  // namespace qn::app::osx::qnuapp
