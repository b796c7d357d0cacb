#pragma once
// NSNotificationQueue's default queue: as-soon-as-possible posting is done when the run
// loop next turns, coalescing on name and sender.

#include <vector>

#include "platform/Foundation.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

class SimNotificationQueue : public NSNotificationQueue {
  public:
    SimNotificationQueue(SimRunLoop& runLoop, NSNotificationCenter& center)
        : m_runLoop(runLoop), m_center(center) {}

    void enqueueNotification(const NSNotification& notification,
                             NSPostingStyle postingStyle) override;

  private:
    struct Queued {
        std::string name;
        const void* object;
        SimRunLoop::WorkId work;
    };

    bool isQueued(const NSNotification& notification) const;
    void forget(const NSNotification& notification);

    SimRunLoop& m_runLoop;
    NSNotificationCenter& m_center;
    std::vector<Queued> m_queued;
};

}  // namespace qn::platform::sim
