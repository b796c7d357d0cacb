#pragma once
// Work for the main thread, from any thread: libdispatch's main queue and
// performSelectorOnMainThread on the event loop. Work runs in the order posted; one
// wake-up runs what was queued when it woke, so work that posts work cannot starve the
// loop's other sources.

#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/Registration.h"
#include "platform/linux/event/EventFd.h"
#include "platform/linux/event/EventLoop.h"

namespace qn::platform::linux_host {

class MainQueue {
  public:
    explicit MainQueue(EventLoop& loop);

    void post(std::function<void()> work);
    // Runs `work` on the main thread and returns when it has run; at once when called
    // there.
    void runAndWait(std::function<void()> work);
    bool onMainThread() const { return std::this_thread::get_id() == m_mainThread; }

  private:
    void runQueued();

    std::thread::id m_mainThread;
    EventFd m_wake;
    std::mutex m_mutex;
    std::deque<std::function<void()>> m_work;
    Registration m_source;
};

}  // namespace qn::platform::linux_host
