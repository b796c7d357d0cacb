#include "platform/sim/SimTimer.h"

#include <algorithm>

namespace qn::platform::sim {

namespace {
// NSTimer's smallest interval.
constexpr double kMinimumInterval = 0.0001;
}  // namespace

SimTimer::SimTimer(SimRunLoop& runLoop, double seconds, NSTimerHandler handler, Value userInfo,
                   bool repeats)
    : m_runLoop(runLoop),
      m_interval(std::max(seconds, kMinimumInterval)),
      m_handler(std::move(handler)),
      m_userInfo(std::move(userInfo)),
      m_repeats(repeats) {}

void SimTimer::schedule() {
    scheduleAt(m_runLoop.now() +
               static_cast<SimRunLoop::Nanoseconds>(m_interval * SimRunLoop::kSecond));
}

void SimTimer::scheduleAt(SimRunLoop::Nanoseconds deadline) {
    m_fireDate = deadline;
    m_work = m_runLoop.schedule(deadline, [self = shared_from_this()] { self->fire(); });
}

void SimTimer::invalidate() {
    if (m_valid) {
        m_valid = false;
        m_runLoop.cancel(m_work);
    }
}

void SimTimer::fire() {
    if (!m_valid) {
        return;
    }
    ++m_fireCount;
    auto keepAlive = shared_from_this();
    m_handler(*this);
    if (!m_repeats) {
        m_valid = false;
        return;
    }
    if (!m_valid) {
        return;
    }
    const auto step = static_cast<SimRunLoop::Nanoseconds>(m_interval * SimRunLoop::kSecond);
    auto next = m_fireDate + step;
    while (next <= m_runLoop.now()) {
        next += step;
    }
    scheduleAt(next);
}

}  // namespace qn::platform::sim
