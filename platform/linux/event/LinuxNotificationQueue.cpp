#include "platform/linux/event/LinuxNotificationQueue.h"

#include <algorithm>

namespace qn::platform::linux_host {

void LinuxNotificationQueue::enqueueNotification(const NSNotification& notification,
                                                 NSPostingStyle postingStyle) {
    const auto same = [&](const std::shared_ptr<Queued>& q) {
        return q->name == notification.name && q->object == notification.object;
    };
    if (postingStyle == NSPostNow) {
        // Posting now takes the place of any queued one like it.
        for (const auto& q : m_queued) {
            if (same(q)) {
                q->cancelled = true;
            }
        }
        std::erase_if(m_queued, same);
        m_center.postNotification(notification);
        return;
    }
    if (std::any_of(m_queued.begin(), m_queued.end(), same)) {
        return;
    }
    auto queued = std::make_shared<Queued>(Queued{notification.name, notification.object});
    m_queued.push_back(queued);
    m_mainQueue.post([this, queued, notification] {
        if (queued->cancelled) {
            return;
        }
        std::erase(m_queued, queued);
        m_center.postNotification(notification);
    });
}

}  // namespace qn::platform::linux_host
