#include "platform/NotificationObservers.h"

namespace qn::platform {

void NotificationObservers::add(const void* observer, NSNotificationHandler selector,
                                const std::string& name, const void* object) {
    m_entries.push_back(
        std::make_shared<Entry>(Entry{observer, std::move(selector), name, object}));
}

void NotificationObservers::remove(const void* observer, const std::string& name,
                                   const void* object) {
    for (auto& entry : m_entries) {
        if (entry->observer == observer && (name.empty() || entry->name == name) &&
            (!object || entry->object == object)) {
            entry->removed = true;
        }
    }
    std::erase_if(m_entries, [](const auto& entry) { return entry->removed; });
}

void NotificationObservers::deliver(const NSNotification& notification) const {
    // A copy: a handler may add or remove observers.
    const auto entries = m_entries;
    for (const auto& entry : entries) {
        if (entry->removed || (!entry->name.empty() && entry->name != notification.name) ||
            (entry->object && entry->object != notification.object)) {
            continue;
        }
        entry->selector(notification);
    }
}

}  // namespace qn::platform
