#include "platform/linux/event/LinuxNotificationCenter.h"

namespace qn::platform::linux_host {

void LinuxNotificationCenter::addObserver(const void* observer, NSNotificationHandler selector,
                                          const std::string& name, const void* object) {
    m_observers.add(observer, std::move(selector), name, object);
}

void LinuxNotificationCenter::removeObserver(const void* observer) {
    m_observers.remove(observer);
}

void LinuxNotificationCenter::removeObserver(const void* observer, const std::string& name,
                                             const void* object) {
    m_observers.remove(observer, name, object);
}

void LinuxNotificationCenter::postNotification(const NSNotification& notification) {
    if (m_delivery == Delivery::Immediate) {
        deliver(notification);
    } else {
        m_mainQueue.post([this, notification] { deliver(notification); });
    }
}

void LinuxNotificationCenter::deliver(const NSNotification& notification) {
    m_observers.deliver(notification);
}

}  // namespace qn::platform::linux_host
