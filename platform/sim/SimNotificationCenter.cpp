#include "platform/sim/SimNotificationCenter.h"

#include <algorithm>

namespace qn::platform::sim {

void SimNotificationCenter::addObserver(const void* observer, NSNotificationHandler selector,
                                        const std::string& name, const void* object) {
    m_observers.push_back(
        std::make_shared<Observer>(Observer{observer, std::move(selector), name, object}));
}

void SimNotificationCenter::removeObserver(const void* observer) {
    for (auto& entry : m_observers) {
        if (entry->observer == observer) {
            entry->removed = true;
        }
    }
    std::erase_if(m_observers, [](const auto& entry) { return entry->removed; });
}

void SimNotificationCenter::removeObserver(const void* observer, const std::string& name,
                                           const void* object) {
    for (auto& entry : m_observers) {
        if (entry->observer == observer && (name.empty() || entry->name == name) &&
            (!object || entry->object == object)) {
            entry->removed = true;
        }
    }
    std::erase_if(m_observers, [](const auto& entry) { return entry->removed; });
}

void SimNotificationCenter::postNotification(const NSNotification& notification) {
    m_posted.push_back(notification);
    if (m_delivery == Delivery::Immediate) {
        deliver(notification);
    } else {
        m_runLoop.post([this, notification] { deliver(notification); });
    }
}

void SimNotificationCenter::deliver(const NSNotification& notification) {
    // Observers added while delivering wait for the next notification; observers removed
    // while delivering get nothing more.
    const auto observers = m_observers;
    for (const auto& entry : observers) {
        if (entry->removed) {
            continue;
        }
        if (!entry->name.empty() && entry->name != notification.name) {
            continue;
        }
        if (entry->object && entry->object != notification.object) {
            continue;
        }
        entry->selector(notification);
    }
}

}  // namespace qn::platform::sim
