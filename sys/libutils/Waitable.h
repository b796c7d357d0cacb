#pragma once

#include <cstdint>
#include <memory>

namespace qn::sys {

// Time-outs are microseconds; this value waits for ever where a wait allows it.
constexpr std::uint32_t kWaitForever = 0xFFFFFFFF;

class IWaitable {
  public:
    virtual ~IWaitable() = default;
    virtual int getHandle() const = 0;
    virtual bool wait(std::uint32_t timeout) = 0;
};

// Something to wait on, built on a descriptor that can be put into a poll set.
class Waitable : public IWaitable {
  public:
    class State {
      public:
        explicit State(int handle = -1) : m_handle(handle) {}
        virtual ~State() = default;
        State(const State&) = delete;
        State& operator=(const State&) = delete;

        virtual bool wait(std::uint32_t timeout) = 0;
        virtual bool isSignalled() = 0;
        virtual bool acknowledge() = 0;
        int handle() const { return m_handle; }

      protected:
        int m_handle;
    };

    explicit Waitable(std::unique_ptr<State> state) : m_state(std::move(state)) {}
    Waitable(const Waitable&) = delete;
    Waitable& operator=(const Waitable&) = delete;

    int getHandle() const override { return m_state->handle(); }
    bool wait(std::uint32_t timeout) override { return m_state->wait(timeout); }
    State& state() { return *m_state; }

  protected:
    std::unique_ptr<State> m_state;
};

// Waits until the descriptor is readable: > 0 ready, 0 timed out, < 0 error
// (errno set). With foreverAtMax, kWaitForever means no limit; otherwise it is
// taken literally (about 71 minutes).
int pollForReading(int descriptor, std::uint32_t timeout, bool foreverAtMax);

}  // namespace qn::sys
