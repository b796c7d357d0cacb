#pragma once
// The System port's signal(): installs a handler that stays installed, through sigaction
// so that the semantics do not depend on the C library's choice. System calls are not
// restarted after it: the agent's waits must end when SIGTERM comes.

#include "platform/System.h"

namespace qn::platform::linux_host {

class SignalInstaller {
  public:
    // The previous handler, or SIG_ERR (errno set) for a signal that cannot be caught.
    SignalHandler signal(int signal, SignalHandler handler) const;
};

}  // namespace qn::platform::linux_host
