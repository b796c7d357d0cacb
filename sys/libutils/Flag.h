#pragma once

#include <atomic>
#include <memory>

#include "sys/libutils/PipeState.h"
#include "sys/libutils/Waitable.h"

namespace qn::sys {

class IFlag {
  public:
    virtual ~IFlag() = default;
    virtual void raise() = 0;
    virtual void lower() = 0;
};

class Waitable;

class IWaitableFlag : public IFlag {
  public:
    virtual Waitable* asWaitable() = 0;
};

class ISecurableObject {
  public:
    virtual ~ISecurableObject() = default;
    virtual bool hasSecurity() const = 0;
};

// The state of every pipe flag. With keepRaised false the wait that sees the
// flag raised also lowers it: one waiter wakes for one raise.
class FlagState : public PipeState {
  public:
    FlagState(bool initiallyRaised, bool keepRaised)
        : m_raised(initiallyRaised), m_keepRaised(keepRaised) {}

    void raise();
    void lower();
    bool isSignalled() override;
    bool acknowledge() override;
    bool isRaised() const { return m_raised.load(std::memory_order_relaxed); }

  protected:
    bool holdsByte() const override { return isRaised(); }

  private:
    // Read outside the lock first as a fast path; changed only under it.
    std::atomic<bool> m_raised;
    const bool m_keepRaised;
};

// A flag made of a pipe, in either reset mode.
class Flag : public Waitable, public ISecurableObject, public IWaitableFlag {
  public:
    explicit Flag(bool initiallyRaised = false, bool keepRaised = false);

    Waitable* asWaitable() override { return this; }
    void raise() override { flagState().raise(); }
    void lower() override { flagState().lower(); }
    bool hasSecurity() const override { return false; }
    bool isRaised() { return flagState().isRaised(); }

  private:
    FlagState& flagState() { return static_cast<FlagState&>(*m_state); }
};

// A flag that always lowers itself for the waiter that sees it.
class AutoFlag : public Flag {
  public:
    explicit AutoFlag(bool initiallyRaised = false) : Flag(initiallyRaised, false) {}
};

// Raise and lower without the flag interfaces.
class UnnamedFlag : public Waitable {
  public:
    explicit UnnamedFlag(bool initiallyRaised = false);
    void raise() { flagState().raise(); }
    void lower() { flagState().lower(); }

  private:
    FlagState& flagState() { return static_cast<FlagState&>(*m_state); }
};

}  // namespace qn::sys
