#pragma once
// Foundation on the simulated host: the virtual-time run loop, the notification
// centres and queue, timers, work for the main thread, the Manager connection, and the
// bundle's strings table.

#include <map>
#include <string>
#include <thread>

#include "platform/Foundation.h"
#include "platform/sim/SimManager.h"
#include "platform/sim/SimNotificationCenter.h"
#include "platform/sim/SimNotificationQueue.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

class SimFoundation : public Foundation, private NSRunLoop {
  public:
    explicit SimFoundation(SimRunLoop& runLoop);

    NSRunLoop& currentRunLoop() override { return *this; }
    SimNotificationCenter& defaultCenter() override { return m_defaultCenter; }
    SimNotificationCenter& distributedCenter() override { return m_distributedCenter; }
    NSNotificationQueue& defaultQueue() override { return m_queue; }
    NSTimerRef scheduledTimerWithTimeInterval(double seconds, NSTimerHandler selector,
                                              Value userInfo, bool repeats) override;
    void performSelectorOnMainThread(std::function<void()> selector, bool waitUntilDone) override;
    NSDate date() override;
    void setSignalWakeHandler(std::function<void()> handler) override {
        m_signalWake = std::move(handler);
    }
    void wakeMainRunLoopFromSignal() override;
    ProxyRef rootProxyForConnectionWithRegisteredName(const std::string& name,
                                                      const char* host) override;
    void disableSuddenTermination() override { ++m_suddenTerminationDisabled; }
    std::string localizedStringForKey(const std::string& key, const std::string& value,
                                      const std::string& table) override;

    SimManager& manager() { return m_manager; }
    // The strings table of the bundle.
    void setLocalizedString(const std::string& table, const std::string& key,
                            const std::string& text) {
        m_strings[table][key] = text;
    }
    int suddenTerminationDisabledCount() const { return m_suddenTerminationDisabled; }
    // How far NSRunLoop::run goes on the virtual clock before it returns (it returns early
    // when nothing is left to run).
    void setRunHorizon(SimRunLoop::Nanoseconds horizon) { m_runHorizon = horizon; }

  private:
    void run() override;

    SimRunLoop& m_runLoop;
    std::thread::id m_mainThread;
    SimNotificationCenter m_defaultCenter;
    SimNotificationCenter m_distributedCenter;
    SimNotificationQueue m_queue;
    SimManager m_manager;
    std::map<std::string, std::map<std::string, std::string>> m_strings;
    int m_suddenTerminationDisabled = 0;
    SimRunLoop::Nanoseconds m_runHorizon = 0;
    std::function<void()> m_signalWake;
};

}  // namespace qn::platform::sim
