#pragma once
// Foundation on sd-event: the main run loop, timers, the default and distributed
// centres, the notification queue, work for the main thread, the signal wake-up, and
// peers found through the bus link.

#include <functional>
#include <map>
#include <string>

#include "platform/Foundation.h"
#include "platform/linux/event/EventFd.h"
#include "platform/linux/event/EventLoop.h"
#include "platform/linux/event/LinuxNotificationCenter.h"
#include "platform/linux/event/LinuxNotificationQueue.h"
#include "platform/linux/event/MainQueue.h"
#include "platform/linux/event/PeerDirectory.h"

namespace qn::platform::linux_host {

class LinuxFoundation : public Foundation, private NSRunLoop {
  public:
    LinuxFoundation(EventLoop& loop, MainQueue& mainQueue);

    // The bus link, once it exists; until then every lookup finds nobody.
    void setPeerDirectory(PeerDirectory* directory) { m_peers = directory; }
    LinuxNotificationCenter& distributed() { return m_distributedCenter; }

    NSRunLoop& currentRunLoop() override { return *this; }
    NSNotificationCenter& defaultCenter() override { return m_defaultCenter; }
    NSNotificationCenter& distributedCenter() override { return m_distributedCenter; }
    NSNotificationQueue& defaultQueue() override { return m_queue; }
    NSTimerRef scheduledTimerWithTimeInterval(double seconds, NSTimerHandler selector,
                                              Value userInfo, bool repeats) override;
    void performSelectorOnMainThread(std::function<void()> selector, bool waitUntilDone) override;
    NSDate date() override;
    void setSignalWakeHandler(std::function<void()> handler) override;
    void wakeMainRunLoopFromSignal() override { m_signalWake.signal(); }
    ProxyRef rootProxyForConnectionWithRegisteredName(const std::string& name,
                                                      const char* host) override;
    // Nothing on this host ends a process that is idle.
    void disableSuddenTermination() override {}
    std::string localizedStringForKey(const std::string& key, const std::string& value,
                                      const std::string& table) override;
    void setLocalizedString(const std::string& table, const std::string& key,
                            const std::string& text) {
        m_strings[table][key] = text;
    }
    // `loader` fills the tables (with setLocalizedString) just before the first lookup.
    void loadStringsWhenFirstAsked(std::function<void(LinuxFoundation&)> loader) {
        m_stringsLoader = std::move(loader);
    }

  private:
    void run() override;

    EventLoop& m_loop;
    MainQueue& m_mainQueue;
    LinuxNotificationCenter m_defaultCenter;
    LinuxNotificationCenter m_distributedCenter;
    LinuxNotificationQueue m_queue;
    EventFd m_signalWake;
    std::function<void()> m_signalWakeHandler;
    Registration m_signalSource;
    PeerDirectory* m_peers = nullptr;
    std::map<std::string, std::map<std::string, std::string>> m_strings;
    std::function<void(LinuxFoundation&)> m_stringsLoader;
    unsigned m_timerCount = 0;
};

}  // namespace qn::platform::linux_host
