#pragma once
// A registration as an owned object: whoever holds it keeps the callback, event source,
// observer or bus match alive, and dropping it unregisters. Move-only, so there is
// always exactly one owner; an empty one unregisters nothing.

#include <functional>
#include <utility>

namespace qn::platform {

class Registration {
  public:
    Registration() = default;
    // `remove` undoes the registration; it runs once, at reset or destruction.
    explicit Registration(std::function<void()> remove) : m_remove(std::move(remove)) {}
    Registration(Registration&& other) noexcept : m_remove(std::exchange(other.m_remove, {})) {}
    Registration& operator=(Registration&& other) noexcept {
        if (this != &other) {
            reset();
            m_remove = std::exchange(other.m_remove, {});
        }
        return *this;
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() { reset(); }

    // Unregisters now; afterwards the object is empty.
    void reset() {
        if (auto remove = std::exchange(m_remove, {})) {
            remove();
        }
    }
    explicit operator bool() const { return static_cast<bool>(m_remove); }

  private:
    std::function<void()> m_remove;
};

}  // namespace qn::platform
