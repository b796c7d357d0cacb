#pragma once
// A workspace centre for the login backend's tests: delivers before postNotification
// returns (as the Linux host's does) and keeps the names posted, in order.

#include <functional>
#include <string>
#include <vector>

#include "platform/Foundation.h"

namespace qn::platform::linux_host::login::testing {

class RecordingCenter : public NSNotificationCenter {
  public:
    void addObserver(const void*, NSNotificationHandler, const std::string&, const void*) override {
    }
    void removeObserver(const void*) override {}
    void removeObserver(const void*, const std::string&, const void*) override {}
    void postNotification(const NSNotification& notification) override {
        if (onPost) {
            onPost(notification.name);
        }
        posted.push_back(notification.name);
    }

    std::vector<std::string> posted;
    // Runs inside the post, where an observer would.
    std::function<void(const std::string&)> onPost;
};

}  // namespace qn::platform::linux_host::login::testing
