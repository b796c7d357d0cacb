#pragma once
// Holds the termination signals on this thread while it waits in a blocking bus call.
// sd-bus reports a wait cut short by a caught signal as the call's failure (EINTR),
// though the answer is on its way: the agent would take a Manager that is alive for a
// dead one. Held, the signal goes to another thread or waits until the call has
// returned; the loop acts on it then, as it would have anyway.

#include <pthread.h>
#include <signal.h>

namespace qn::platform::linux_host {

class TerminationSignalsHeld {
  public:
    TerminationSignalsHeld() {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGTERM);
        sigaddset(&held, SIGINT);
        sigaddset(&held, SIGHUP);
        pthread_sigmask(SIG_BLOCK, &held, &m_before);
    }
    ~TerminationSignalsHeld() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    TerminationSignalsHeld(const TerminationSignalsHeld&) = delete;
    TerminationSignalsHeld& operator=(const TerminationSignalsHeld&) = delete;

  private:
    sigset_t m_before;
};

}  // namespace qn::platform::linux_host
