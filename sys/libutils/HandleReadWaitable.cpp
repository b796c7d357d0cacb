#include "sys/libutils/HandleReadWaitable.h"

namespace qn::sys {

namespace {

// Not signalled by itself, and always claims readiness: waitForAny then goes
// by the descriptor alone.
class HandleState : public Waitable::State {
  public:
    explicit HandleState(int descriptor) : State(descriptor) {}
    bool wait(std::uint32_t timeout) override {
        return pollForReading(m_handle, timeout, true) > 0;
    }
    bool isSignalled() override { return false; }
    bool acknowledge() override { return true; }
};

}  // namespace

HandleReadWaitable::HandleReadWaitable(int descriptor)
    : Waitable(std::make_unique<HandleState>(descriptor)) {}

}  // namespace qn::sys
