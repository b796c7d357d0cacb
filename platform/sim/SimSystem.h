#pragma once
// Process and session services of the simulated host.

#include <map>
#include <string>

#include "platform/System.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

// Thrown by exit(): the simulated process ends, and the test or scenario sees the status.
struct SimExit {
    int status;
};
// Thrown by abort(): the simulated process ends as a failed C assertion ends it.
struct SimAbort {};

class SimSystem : public System {
  public:
    explicit SimSystem(SimRunLoop& runLoop) : m_runLoop(runLoop) {}

    OSErr GetCurrentProcess(ProcessSerialNumber* psn) override;
    OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) override;
    int sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void* newp,
                     std::size_t newlen) override;
    OSStatus SessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                            SessionAttributeBits* attributes) override;
    bool UAZoomEnabled() override { return m_zoom; }
    SignalHandler signal(int signal, SignalHandler handler) override;
    unsigned int sleep(unsigned int seconds) override;
    [[noreturn]] void exit(int status) override;
    [[noreturn]] void abort() override { throw SimAbort{}; }

    // The world.
    void setPid(pid_t pid) { m_pid = pid; }
    void setKernelRelease(std::string release) { m_kernelRelease = std::move(release); }
    void setSecuritySessionId(SecuritySessionId id) { m_sessionId = id; }
    // SessionGetInfo fails and writes nothing.
    void setSessionInfoFails(bool fails) { m_sessionInfoFails = fails; }
    void setZoom(bool on) { m_zoom = on; }
    // signal() gives SIG_ERR.
    void setSignalFails(bool fails) { m_signalFails = fails; }

    // Delivers a signal to the installed handler; false when none is installed.
    bool raise(int signal);
    unsigned int secondsSlept() const { return m_secondsSlept; }

  private:
    SimRunLoop& m_runLoop;
    pid_t m_pid = 4242;
    std::string m_kernelRelease = "13.0.0";
    SecuritySessionId m_sessionId = 100000;
    bool m_sessionInfoFails = false;
    bool m_zoom = false;
    bool m_signalFails = false;
    std::map<int, SignalHandler> m_handlers;
    unsigned int m_secondsSlept = 0;
};

}  // namespace qn::platform::sim
