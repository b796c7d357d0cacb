#pragma once
// Process services on Linux: the process id, the kernel release, signals, sleep and
// exit. The security session id comes from the session source the host is given (the
// login manager's, when that backend is present); without one the lookup fails, which
// the agent reads as session 0.

#include <functional>
#include <optional>

#include "platform/System.h"

namespace qn::platform::linux_host {

class LinuxSystem : public System {
  public:
    using SessionIdSource = std::function<std::optional<SecuritySessionId>()>;

    void setSessionIdSource(SessionIdSource source) { m_sessionId = std::move(source); }

    OSErr GetCurrentProcess(ProcessSerialNumber* psn) override;
    OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) override;
    int sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void* newp,
                     std::size_t newlen) override;
    OSStatus SessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                            SessionAttributeBits* attributes) override;
    // No accessibility zoom is known on this host.
    bool UAZoomEnabled() override { return false; }
    SignalHandler signal(int signal, SignalHandler handler) override;
    unsigned int sleep(unsigned int seconds) override;
    [[noreturn]] void exit(int status) override;

  private:
    SessionIdSource m_sessionId;
};

}  // namespace qn::platform::linux_host
