#include "sys/libutils/Flag.h"

#include <mutex>

namespace qn::sys {

void FlagState::raise() {
    if (isRaised()) {
        return;
    }
    std::lock_guard<Mutex> guard(m_mutex);
    if (!isRaised()) {
        m_raised.store(true, std::memory_order_relaxed);
        writeByte();
    }
}

void FlagState::lower() {
    if (!isRaised()) {
        return;
    }
    std::lock_guard<Mutex> guard(m_mutex);
    if (isRaised()) {
        m_raised.store(false, std::memory_order_relaxed);
        drain();
    }
}

bool FlagState::isSignalled() {
    createPipe();
    return isRaised() && acknowledge();
}

bool FlagState::acknowledge() {
    std::lock_guard<Mutex> guard(m_mutex);
    bool raised = isRaised();
    if (raised && !m_keepRaised) {
        drain();
        m_raised.store(false, std::memory_order_relaxed);
    }
    return raised;
}

Flag::Flag(bool initiallyRaised, bool keepRaised)
    : Waitable(std::make_unique<FlagState>(initiallyRaised, keepRaised)) {}

UnnamedFlag::UnnamedFlag(bool initiallyRaised)
    : Waitable(std::make_unique<FlagState>(initiallyRaised, false)) {}

}  // namespace qn::sys
