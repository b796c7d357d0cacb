#include "platform/linux/event/LinuxTimer.h"

#include <algorithm>

namespace qn::platform::linux_host {

namespace {
// NSTimer's smallest interval.
constexpr double kMinimumInterval = 0.0001;
}  // namespace

LinuxTimer::LinuxTimer(EventLoop& loop, double seconds, NSTimerHandler handler, Value userInfo,
                       bool repeats)
    : m_loop(loop),
      m_interval(std::max(seconds, kMinimumInterval)),
      m_handler(std::move(handler)),
      m_userInfo(std::move(userInfo)),
      m_repeats(repeats) {}

std::uint64_t LinuxTimer::nextGridPoint(std::uint64_t fireDate, std::uint64_t step,
                                        std::uint64_t now) {
    if (now < fireDate + step) {
        return fireDate + step;
    }
    const std::uint64_t missed = (now - fireDate) / step;
    return fireDate + (missed + 1) * step;
}

void LinuxTimer::schedule(const std::string& name) {
    m_fireDate = EventLoop::now() + static_cast<std::uint64_t>(m_interval * 1e6);
    // The source's handler holds the timer: the loop keeps it alive while scheduled.
    m_source =
        m_loop.addTimer(m_fireDate, name, [self = shared_from_this()] { return self->fire(); });
}

void LinuxTimer::invalidate() {
    if (m_valid) {
        m_valid = false;
        m_source.reset();
    }
}

std::uint64_t LinuxTimer::fire() {
    if (!m_valid) {
        return 0;
    }
    const auto keepAlive = shared_from_this();
    m_handler(*this);
    if (!m_repeats) {
        invalidate();
        return 0;
    }
    if (!m_valid) {
        return 0;
    }
    m_fireDate =
        nextGridPoint(m_fireDate, static_cast<std::uint64_t>(m_interval * 1e6), EventLoop::now());
    return m_fireDate;
}

}  // namespace qn::platform::linux_host
