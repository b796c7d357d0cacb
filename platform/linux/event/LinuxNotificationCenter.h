#pragma once
// A notification centre on the main thread. The default centre delivers before
// postNotification returns; the distributed centre is fed by the Manager link from the
// bus, already on the loop, and a local post to it is delivered on the loop's next turn.

#include <vector>

#include "platform/Foundation.h"
#include "platform/NotificationObservers.h"
#include "platform/linux/event/MainQueue.h"

namespace qn::platform::linux_host {

class LinuxNotificationCenter : public NSNotificationCenter {
  public:
    enum class Delivery { Immediate, NextTurn };

    LinuxNotificationCenter(MainQueue& mainQueue, Delivery delivery)
        : m_mainQueue(mainQueue), m_delivery(delivery) {}

    void addObserver(const void* observer, NSNotificationHandler selector, const std::string& name,
                     const void* object) override;
    void removeObserver(const void* observer) override;
    void removeObserver(const void* observer, const std::string& name, const void* object) override;
    void postNotification(const NSNotification& notification) override;
    // Delivers now, whatever the centre's delivery: for arrivals already on the loop.
    void deliver(const NSNotification& notification);

  private:
    MainQueue& m_mainQueue;
    Delivery m_delivery;
    NotificationObservers m_observers;
};

}  // namespace qn::platform::linux_host
