#pragma once
// Callbacks handed to a host (timers, notifications, C callbacks with a context pointer)
// may come after their target is gone. The target owns a LifetimeToken; a callback holds
// a watch of it and runs only while the token lives.

#include <memory>
#include <utility>

namespace qn::platform {

class LifetimeWatch {
  public:
    LifetimeWatch() = default;
    bool alive() const { return !m_token.expired(); }

  private:
    friend class LifetimeToken;
    explicit LifetimeWatch(std::weak_ptr<const void> token) : m_token(std::move(token)) {}
    std::weak_ptr<const void> m_token;
};

class LifetimeToken {
  public:
    LifetimeToken() : m_token(std::make_shared<char>()) {}
    // The token is the identity of its owner's life: it neither moves nor copies.
    LifetimeToken(const LifetimeToken&) = delete;
    LifetimeToken& operator=(const LifetimeToken&) = delete;

    LifetimeWatch watch() const { return LifetimeWatch(m_token); }

    // A callable that calls work(owner, arguments...) while this token lives, and does
    // nothing afterwards.
    template <typename Owner, typename Work>
    auto guard(Owner& owner, Work work) const {
        return [watch = watch(), owner = &owner, work = std::move(work)](auto&&... arguments) {
            if (watch.alive()) {
                work(*owner, std::forward<decltype(arguments)>(arguments)...);
            }
        };
    }

  private:
    std::shared_ptr<const void> m_token;
};

}  // namespace qn::platform
