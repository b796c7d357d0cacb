#include "platform/linux/event/EventFd.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace qn::platform::linux_host {

EventFd::EventFd() : m_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_fd) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void EventFd::signal() const {
    const std::uint64_t one = 1;
    const int saved = errno;
    // A full counter already wakes the reader; nothing is lost by a failed write.
    [[maybe_unused]] const ssize_t written = write(m_fd.get(), &one, sizeof one);
    errno = saved;
}

std::uint64_t EventFd::drain() const {
    std::uint64_t count = 0;
    if (read(m_fd.get(), &count, sizeof count) != sizeof count) {
        return 0;
    }
    return count;
}

}  // namespace qn::platform::linux_host
