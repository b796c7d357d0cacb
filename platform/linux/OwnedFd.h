#pragma once
// The one owner of a file descriptor (a logind lock, a memfd, ...).

#include <unistd.h>

#include <utility>

namespace qn::platform::linux_host {

// A file descriptor closed by its owner; -1 is none.
class OwnedFd {
  public:
    OwnedFd() = default;
    explicit OwnedFd(int fd) : m_fd(fd) {}
    OwnedFd(const OwnedFd&) = delete;
    OwnedFd& operator=(const OwnedFd&) = delete;
    OwnedFd(OwnedFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    OwnedFd& operator=(OwnedFd&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.m_fd, -1));
        }
        return *this;
    }
    ~OwnedFd() { reset(); }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    // Gives the descriptor up without closing it.
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = fd;
    }

  private:
    int m_fd = -1;
};

}  // namespace qn::platform::linux_host
