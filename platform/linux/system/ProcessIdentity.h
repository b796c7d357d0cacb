#pragma once
// GetCurrentProcess and GetProcessPID: this process only, which is all the agent asks.

#include "platform/System.h"

namespace qn::platform::linux_host {

constexpr OSErr procNotFound = -600;

class ProcessIdentity {
  public:
    // kCurrentProcess: { 0, 2 }.
    OSErr GetCurrentProcess(ProcessSerialNumber* psn) const;
    // The id of this process for kCurrentProcess; procNotFound for any other number.
    OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) const;
};

}  // namespace qn::platform::linux_host
