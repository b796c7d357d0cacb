#include "platform/sim/SimNotificationQueue.h"

#include <algorithm>

namespace qn::platform::sim {

bool SimNotificationQueue::isQueued(const NSNotification& notification) const {
    return std::any_of(m_queued.begin(), m_queued.end(), [&](const Queued& q) {
        return q.name == notification.name && q.object == notification.object;
    });
}

void SimNotificationQueue::forget(const NSNotification& notification) {
    std::erase_if(m_queued, [&](const Queued& q) {
        return q.name == notification.name && q.object == notification.object;
    });
}

void SimNotificationQueue::enqueueNotification(const NSNotification& notification,
                                               NSPostingStyle postingStyle) {
    if (postingStyle == NSPostNow) {
        // Posting now takes the place of any queued one like it.
        for (const auto& q : m_queued) {
            if (q.name == notification.name && q.object == notification.object) {
                m_runLoop.cancel(q.work);
            }
        }
        forget(notification);
        m_center.postNotification(notification);
        return;
    }
    if (isQueued(notification)) {
        return;
    }
    // As soon as possible and when idle both come when the run loop next turns; the
    // simulated main thread has no other work to be idle from.
    const auto work = m_runLoop.post([this, notification] {
        forget(notification);
        m_center.postNotification(notification);
    });
    m_queued.push_back(Queued{notification.name, notification.object, work});
}

}  // namespace qn::platform::sim
