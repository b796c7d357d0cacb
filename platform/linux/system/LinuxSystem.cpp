#include "platform/linux/system/LinuxSystem.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/linux/system/AccessibilityZoom.h"

namespace qn::platform::linux_host {

void LinuxSystem::setSessionIdSource(SessionIdSource source) {
    m_sessionInfo = [source = std::move(source)](SecuritySessionId session,
                                                 SecuritySessionId* sessionId,
                                                 SessionAttributeBits* attributes) -> OSStatus {
        const auto id = source();
        if (!id || (session != callerSecuritySession && session != *id)) {
            return errSessionInvalidId;
        }
        *sessionId = *id;
        *attributes = 0;
        return errSessionSuccess;
    };
}

OSErr LinuxSystem::GetCurrentProcess(ProcessSerialNumber* psn) {
    return m_identity.GetCurrentProcess(psn);
}

OSStatus LinuxSystem::GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) {
    return m_identity.GetProcessPID(psn, pid);
}

int LinuxSystem::sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void* newp,
                              std::size_t newlen) {
    return m_release.sysctlbyname(name, oldp, oldlenp, newp, newlen);
}

OSStatus LinuxSystem::SessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                                     SessionAttributeBits* attributes) {
    if (!m_sessionInfo || sessionId == nullptr || attributes == nullptr) {
        return errSessionInvalidId;
    }
    return m_sessionInfo(session, sessionId, attributes);
}

bool LinuxSystem::UAZoomEnabled() {
    return accessibilityZoomEnabled();
}

SignalHandler LinuxSystem::signal(int signal, SignalHandler handler) {
    return m_signals.signal(signal, handler);
}

unsigned int LinuxSystem::sleep(unsigned int seconds) {
    // nanosleep is never restarted after a handler, whatever SA_RESTART says: a caught
    // SIGTERM still cuts the start-up's one-second waits short.
    return ::sleep(seconds);
}

void LinuxSystem::exit(int status) {
    std::exit(status);
}

}  // namespace qn::platform::linux_host
