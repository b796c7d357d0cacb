#include "platform/linux/system/ProcessIdentity.h"

#include <unistd.h>

namespace qn::platform::linux_host {

namespace {

constexpr std::uint32_t kCurrentProcess = 2;

}  // namespace

OSErr ProcessIdentity::GetCurrentProcess(ProcessSerialNumber* psn) const {
    psn->highLongOfPSN = 0;
    psn->lowLongOfPSN = kCurrentProcess;
    return noErrOSErr;
}

OSStatus ProcessIdentity::GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) const {
    if (!psn || psn->highLongOfPSN != 0 || psn->lowLongOfPSN != kCurrentProcess) {
        return procNotFound;
    }
    *pid = ::getpid();
    return noErrOSErr;
}

}  // namespace qn::platform::linux_host
