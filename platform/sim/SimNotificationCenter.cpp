#include "platform/sim/SimNotificationCenter.h"

namespace qn::platform::sim {

void SimNotificationCenter::addObserver(const void* observer, NSNotificationHandler selector,
                                        const std::string& name, const void* object) {
    m_observers.add(observer, std::move(selector), name, object);
}

void SimNotificationCenter::removeObserver(const void* observer) {
    m_observers.remove(observer);
}

void SimNotificationCenter::removeObserver(const void* observer, const std::string& name,
                                           const void* object) {
    m_observers.remove(observer, name, object);
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
    m_observers.deliver(notification);
}

}  // namespace qn::platform::sim
