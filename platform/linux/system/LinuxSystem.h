#pragma once
// The System port on Linux, one implementation made of the small process services
// beside it: this process's identity, the fixed kernel release, signals with the
// semantics the agent was written for, sleep and exit. The security session comes from
// the session source the host is given (the login manager's, when it is reachable);
// without one the lookup fails, which the agent reads as session 0.

#include <functional>
#include <optional>

#include "platform/System.h"
#include "platform/linux/system/KernelRelease.h"
#include "platform/linux/system/ProcessIdentity.h"
#include "platform/linux/system/SignalInstaller.h"

namespace qn::platform::linux_host {

class LinuxSystem : public System {
  public:
    // SessionGetInfo's own signature, answered by the session's owner.
    using SessionInfoSource =
        std::function<OSStatus(SecuritySessionId, SecuritySessionId*, SessionAttributeBits*)>;
    // A session id and nothing more (no attribute bits): for test programs.
    using SessionIdSource = std::function<std::optional<SecuritySessionId>()>;

    void setSessionInfoSource(SessionInfoSource source) { m_sessionInfo = std::move(source); }
    void setSessionIdSource(SessionIdSource source);

    OSErr GetCurrentProcess(ProcessSerialNumber* psn) override;
    OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) override;
    int sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void* newp,
                     std::size_t newlen) override;
    OSStatus SessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                            SessionAttributeBits* attributes) override;
    bool UAZoomEnabled() override;
    SignalHandler signal(int signal, SignalHandler handler) override;
    unsigned int sleep(unsigned int seconds) override;
    [[noreturn]] void exit(int status) override;

  private:
    ProcessIdentity m_identity;
    KernelRelease m_release;
    SignalInstaller m_signals;
    SessionInfoSource m_sessionInfo;
};

}  // namespace qn::platform::linux_host
