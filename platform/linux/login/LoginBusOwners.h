#pragma once
// Owners of the sd-bus handles the login backend uses. Each owner holds one reference (or
// one registration) and gives it back through the library's own unref; receive() hands
// out the address for a C out-parameter. Kept apart so that it can join the bus backend's
// owners in one header.

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <utility>

namespace qn::platform::linux_host::login {

template <typename T, T* (*Unref)(T*)>
class BusRef {
  public:
    BusRef() = default;
    // Takes over the caller's reference.
    explicit BusRef(T* handle) : m_handle(handle) {}
    BusRef(const BusRef&) = delete;
    BusRef& operator=(const BusRef&) = delete;
    BusRef(BusRef&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    BusRef& operator=(BusRef&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.m_handle, nullptr));
        }
        return *this;
    }
    ~BusRef() { reset(); }

    T* get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }
    // Drops the current handle first, so that an out-parameter never leaks one.
    T** receive() {
        reset();
        return &m_handle;
    }
    void reset(T* handle = nullptr) {
        if (m_handle) {
            Unref(m_handle);
        }
        m_handle = handle;
    }

  private:
    T* m_handle = nullptr;
};

using BusMessage = BusRef<sd_bus_message, sd_bus_message_unref>;
// A match or call registration: dropping it unregisters.
using BusSlot = BusRef<sd_bus_slot, sd_bus_slot_unref>;

// An error filled by a failed call; freed on every path.
class BusError {
  public:
    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    ~BusError() { sd_bus_error_free(&m_error); }

    sd_bus_error* get() { return &m_error; }
    bool has(const char* name) const { return sd_bus_error_has_name(&m_error, name) != 0; }
    const char* name() const { return m_error.name ? m_error.name : ""; }
    const char* message() const { return m_error.message ? m_error.message : ""; }

  private:
    sd_bus_error m_error = SD_BUS_ERROR_NULL;
};

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
    void reset(int fd = -1) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = fd;
    }

  private:
    int m_fd = -1;
};

}  // namespace qn::platform::linux_host::login
