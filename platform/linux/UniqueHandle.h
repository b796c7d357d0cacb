#pragma once
// The one owner of a reference-counted C handle (sd_event*, sd_bus*, sd_bus_message*,
// sd_bus_slot*, ...): it drops its reference with the library's own unref function when
// it goes. receive() hands the library a T** out-parameter to fill.

#include <utility>

namespace qn::platform::linux_host {

template <typename T, T* (*Unref)(T*)>
class UniqueHandle {
  public:
    UniqueHandle() = default;
    // Takes over one reference.
    explicit UniqueHandle(T* handle) : m_handle(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept
        : m_handle(std::exchange(other.m_handle, nullptr)) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.m_handle, nullptr));
        }
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    T* get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }
    // Drops the reference held now, then gives the slot for the library to fill.
    T** receive() {
        reset();
        return &m_handle;
    }
    void reset(T* handle = nullptr) {
        if (T* old = std::exchange(m_handle, handle)) {
            Unref(old);
        }
    }

  private:
    T* m_handle = nullptr;
};

}  // namespace qn::platform::linux_host
