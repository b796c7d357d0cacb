#pragma once
// NSNotificationQueue's default queue on the event loop: as-soon-as-possible and
// when-idle posting come on the loop's next turn, coalescing on name and sender.

#include <memory>
#include <vector>

#include "platform/Foundation.h"
#include "platform/linux/event/MainQueue.h"

namespace qn::platform::linux_host {

class LinuxNotificationQueue : public NSNotificationQueue {
  public:
    LinuxNotificationQueue(MainQueue& mainQueue, NSNotificationCenter& center)
        : m_mainQueue(mainQueue), m_center(center) {}

    void enqueueNotification(const NSNotification& notification,
                             NSPostingStyle postingStyle) override;

  private:
    struct Queued {
        std::string name;
        const void* object;
        bool cancelled = false;
    };

    MainQueue& m_mainQueue;
    NSNotificationCenter& m_center;
    std::vector<std::shared_ptr<Queued>> m_queued;
};

}  // namespace qn::platform::linux_host
