#pragma once
// The main thread's one event loop, on sd-event. Every backend that has a descriptor to
// watch (the bus, the X connection, the audio client) or a time to keep registers here;
// each source carries a name that a debugger and the log can show. Only the main thread
// touches the loop; MainQueue carries work here from other threads.

#include <cstdint>
#include <functional>
#include <string>

#include "platform/Registration.h"
#include "platform/linux/event/EventHandles.h"

namespace qn::platform::linux_host {

class EventLoop {
  public:
    // Called with the epoll events that woke the source (EPOLLIN, EPOLLHUP, ...).
    using IoHandler = std::function<void(std::uint32_t events)>;
    // Called at the deadline; gives the next deadline to re-arm at, or 0 to stop.
    using TimerHandler = std::function<std::uint64_t()>;
    using Work = std::function<void()>;

    // Timer accuracy: without it sd-event may slide a timer by up to 250 ms.
    static constexpr std::uint64_t kAccuracyUsec = 1000;

    EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    sd_event* get() const { return m_event.get(); }

    // Watches `fd` (not owned) for `events`; the source lives as long as the result.
    Registration addIo(int fd, std::uint32_t events, const std::string& name, IoHandler handler);
    // A timer on CLOCK_MONOTONIC at `deadlineUsec`.
    Registration addTimer(std::uint64_t deadlineUsec, const std::string& name,
                          TimerHandler handler);
    // Runs `work` on the loop's next turn, once.
    Registration defer(const std::string& name, Work work);
    // Runs `work` at the end of every turn that dispatched another source: for
    // connections whose library may have read events that no descriptor announces.
    Registration afterEachTurn(const std::string& name, Work work);

    // CLOCK_MONOTONIC now, in microseconds.
    static std::uint64_t now();

    // Runs until exit(); gives the exit code, or a negative errno. A loop that has
    // exited cannot run again.
    int run();
    // One turn: waits up to `timeoutUsec` for a source and dispatches it.
    int runOnce(std::uint64_t timeoutUsec);
    void exit(int code);

  private:
    EventPtr m_event;
};

}  // namespace qn::platform::linux_host
