#pragma once
// One owned eventfd: a counter another thread, or a signal handler, bumps to wake the
// loop. Non-blocking both ways.

#include <cstdint>

#include "platform/linux/OwnedFd.h"

namespace qn::platform::linux_host {

class EventFd {
  public:
    EventFd();
    EventFd(const EventFd&) = delete;
    EventFd& operator=(const EventFd&) = delete;

    int fd() const { return m_fd.get(); }
    // Async-signal-safe.
    void signal() const;
    // Reads the counter back to zero; gives how often it was bumped.
    std::uint64_t drain() const;

  private:
    OwnedFd m_fd;
};

}  // namespace qn::platform::linux_host
