#pragma once
// A notification centre of the simulated host. The default centre delivers before
// postNotification returns; the distributed and workspace centres deliver on the run
// loop, as notifications from other processes arrive.

#include <memory>
#include <vector>

#include "platform/Foundation.h"
#include "platform/NotificationObservers.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

class SimNotificationCenter : public NSNotificationCenter {
  public:
    enum class Delivery { Immediate, RunLoop };

    SimNotificationCenter(SimRunLoop& runLoop, Delivery delivery)
        : m_runLoop(runLoop), m_delivery(delivery) {}

    void addObserver(const void* observer, NSNotificationHandler selector, const std::string& name,
                     const void* object) override;
    void removeObserver(const void* observer) override;
    void removeObserver(const void* observer, const std::string& name, const void* object) override;
    void postNotification(const NSNotification& notification) override;

    std::size_t observerCount() const { return m_observers.size(); }
    // Every notification posted here, in order.
    const std::vector<NSNotification>& posted() const { return m_posted; }

  private:
    void deliver(const NSNotification& notification);

    SimRunLoop& m_runLoop;
    Delivery m_delivery;
    NotificationObservers m_observers;
    std::vector<NSNotification> m_posted;
};

}  // namespace qn::platform::sim
