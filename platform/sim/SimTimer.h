#pragma once
// NSTimer on the virtual clock. A repeating timer keeps its schedule: a beat missed while
// the main thread was blocked is not caught up.

#include <memory>

#include "platform/Foundation.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

class SimTimer : public NSTimer, public std::enable_shared_from_this<SimTimer> {
  public:
    SimTimer(SimRunLoop& runLoop, double seconds, NSTimerHandler handler, Value userInfo,
             bool repeats);

    // Puts the first firing on the run loop, which holds the timer from then on.
    void schedule();

    void invalidate() override;
    bool isValid() const override { return m_valid; }
    double timeInterval() const override { return m_interval; }
    const Value& userInfo() const override { return m_userInfo; }
    int fireCount() const { return m_fireCount; }

  private:
    void fire();
    void scheduleAt(SimRunLoop::Nanoseconds deadline);

    SimRunLoop& m_runLoop;
    double m_interval;
    NSTimerHandler m_handler;
    Value m_userInfo;
    bool m_repeats;
    bool m_valid = true;
    int m_fireCount = 0;
    SimRunLoop::Nanoseconds m_fireDate = 0;
    SimRunLoop::WorkId m_work = 0;
};

}  // namespace qn::platform::sim
