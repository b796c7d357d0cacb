#include "platform/linux/event/LinuxNotificationCenter.h"

namespace qn::platform::linux_host {

void LinuxNotificationCenter::addObserver(const void* observer, NSNotificationHandler selector,
                                          const std::string& name, const void* object) {
    m_observers.push_back(
        std::make_shared<Observer>(Observer{observer, std::move(selector), name, object}));
}

void LinuxNotificationCenter::removeObserver(const void* observer) {
    removeObserver(observer, std::string(), nullptr);
}

void LinuxNotificationCenter::removeObserver(const void* observer, const std::string& name,
                                             const void* object) {
    for (auto& entry : m_observers) {
        if (entry->observer == observer && (name.empty() || entry->name == name) &&
            (!object || entry->object == object)) {
            entry->removed = true;
        }
    }
    std::erase_if(m_observers, [](const auto& entry) { return entry->removed; });
}

void LinuxNotificationCenter::postNotification(const NSNotification& notification) {
    if (m_delivery == Delivery::Immediate) {
        deliver(notification);
    } else {
        m_mainQueue.post([this, notification] { deliver(notification); });
    }
}

void LinuxNotificationCenter::deliver(const NSNotification& notification) {
    // Observers added while delivering wait for the next notification; observers removed
    // while delivering get nothing more.
    const auto observers = m_observers;
    for (const auto& entry : observers) {
        if (entry->removed || (!entry->name.empty() && entry->name != notification.name) ||
            (entry->object && entry->object != notification.object)) {
            continue;
        }
        entry->selector(notification);
    }
}

}  // namespace qn::platform::linux_host
