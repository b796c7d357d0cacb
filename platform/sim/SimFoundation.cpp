#include "platform/sim/SimFoundation.h"

#include "platform/sim/SimTimer.h"

namespace qn::platform::sim {

namespace {
// NSDate's reference date lies this many seconds before the host's virtual start.
constexpr double kStartSinceReferenceDate = 800000000.0;
}  // namespace

SimFoundation::SimFoundation(SimRunLoop& runLoop)
    : m_runLoop(runLoop),
      m_mainThread(std::this_thread::get_id()),
      m_defaultCenter(runLoop, SimNotificationCenter::Delivery::Immediate),
      m_distributedCenter(runLoop, SimNotificationCenter::Delivery::RunLoop),
      m_queue(runLoop, m_defaultCenter),
      m_manager(runLoop, m_defaultCenter, m_distributedCenter) {}

NSTimerRef SimFoundation::scheduledTimerWithTimeInterval(double seconds, NSTimerHandler selector,
                                                         Value userInfo, bool repeats) {
    auto timer = std::make_shared<SimTimer>(m_runLoop, seconds, std::move(selector),
                                            std::move(userInfo), repeats);
    timer->schedule();
    return timer;
}

void SimFoundation::performSelectorOnMainThread(std::function<void()> selector,
                                                bool waitUntilDone) {
    if (waitUntilDone && std::this_thread::get_id() == m_mainThread) {
        selector();
        return;
    }
    // From another thread the simulated main thread runs it when it next turns; the sim
    // does not block the caller.
    m_runLoop.post(std::move(selector));
}

NSDate SimFoundation::date() {
    return NSDate{kStartSinceReferenceDate + m_runLoop.nowSeconds()};
}

void SimFoundation::wakeMainRunLoopFromSignal() {
    // The self-pipe of a real host becomes work for the next turn of the run loop.
    m_runLoop.post([this] {
        if (m_signalWake) {
            m_signalWake();
        }
    });
}

ProxyRef SimFoundation::rootProxyForConnectionWithRegisteredName(const std::string& name,
                                                                 const char* host) {
    if (host && *host) {
        // Only this machine has a Manager.
        return ProxyRef();
    }
    return m_manager.lookUp(name);
}

std::string SimFoundation::localizedStringForKey(const std::string& key, const std::string& value,
                                                 const std::string& table) {
    const auto t = m_strings.find(table);
    if (t != m_strings.end()) {
        const auto k = t->second.find(key);
        if (k != t->second.end()) {
            return k->second;
        }
    }
    return value.empty() ? key : value;
}

void SimFoundation::run() {
    m_runLoop.runUntil(m_runHorizon);
}

}  // namespace qn::platform::sim
