#pragma once
// The observer table behind every notification centre: who observes which name from
// which sender, and delivery to the matching ones. The centres differ only in when they
// deliver.

#include <memory>
#include <string>
#include <vector>

#include "platform/Foundation.h"

namespace qn::platform {

class NotificationObservers {
  public:
    void add(const void* observer, NSNotificationHandler selector, const std::string& name,
             const void* object);
    // An empty name or a null object matches every entry of the observer.
    void remove(const void* observer, const std::string& name = std::string(),
                const void* object = nullptr);
    // Observers added while delivering wait for the next notification; observers removed
    // while delivering get nothing more.
    void deliver(const NSNotification& notification) const;
    std::size_t size() const { return m_entries.size(); }

  private:
    struct Entry {
        const void* observer;
        NSNotificationHandler selector;
        std::string name;
        const void* object;
        bool removed = false;
    };

    std::vector<std::shared_ptr<Entry>> m_entries;
};

}  // namespace qn::platform
