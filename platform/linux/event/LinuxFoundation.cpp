#include "platform/linux/event/LinuxFoundation.h"

#include <sys/epoll.h>
#include <time.h>

#include <memory>

#include "platform/linux/event/LinuxTimer.h"

namespace qn::platform::linux_host {

namespace {
// Seconds from the Unix epoch to Foundation's reference date, 2001-01-01 UTC.
constexpr double kReferenceDateUnixSeconds = 978307200.0;
}  // namespace

LinuxFoundation::LinuxFoundation(EventLoop& loop, MainQueue& mainQueue)
    : m_loop(loop),
      m_mainQueue(mainQueue),
      m_defaultCenter(mainQueue, LinuxNotificationCenter::Delivery::Immediate),
      m_distributedCenter(mainQueue, LinuxNotificationCenter::Delivery::NextTurn),
      m_queue(mainQueue, m_defaultCenter),
      m_signalSource(loop.addIo(m_signalWake.fd(), EPOLLIN, "signal-wake", [this](std::uint32_t) {
          m_signalWake.drain();
          if (m_signalWakeHandler) {
              m_signalWakeHandler();
          }
      })) {}

NSTimerRef LinuxFoundation::scheduledTimerWithTimeInterval(double seconds, NSTimerHandler selector,
                                                           Value userInfo, bool repeats) {
    auto timer = std::make_shared<LinuxTimer>(m_loop, seconds, std::move(selector),
                                              std::move(userInfo), repeats);
    timer->schedule("timer-" + std::to_string(++m_timerCount) + (repeats ? "-repeating" : ""));
    return timer;
}

void LinuxFoundation::performSelectorOnMainThread(std::function<void()> selector,
                                                  bool waitUntilDone) {
    if (waitUntilDone) {
        m_mainQueue.runAndWait(std::move(selector));
    } else {
        m_mainQueue.post(std::move(selector));
    }
}

NSDate LinuxFoundation::date() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return NSDate{static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9 -
                  kReferenceDateUnixSeconds};
}

void LinuxFoundation::setSignalWakeHandler(std::function<void()> handler) {
    m_signalWakeHandler = std::move(handler);
}

ProxyRef LinuxFoundation::rootProxyForConnectionWithRegisteredName(const std::string& name,
                                                                   const char*) {
    return m_peers ? m_peers->lookUp(name) : ProxyRef();
}

std::string LinuxFoundation::localizedStringForKey(const std::string& key, const std::string& value,
                                                   const std::string& table) {
    if (m_stringsLoader) {
        const auto loader = std::move(m_stringsLoader);
        m_stringsLoader = nullptr;
        loader(*this);
    }
    const auto found = m_strings.find(table);
    if (found != m_strings.end()) {
        const auto text = found->second.find(key);
        if (text != found->second.end()) {
            return text->second;
        }
    }
    return value.empty() ? key : value;
}

void LinuxFoundation::run() {
    m_loop.run();
}

}  // namespace qn::platform::linux_host
