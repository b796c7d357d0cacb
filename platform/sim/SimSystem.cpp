#include "platform/sim/SimSystem.h"

#include <cerrno>
#include <csignal>
#include <cstring>

namespace qn::platform::sim {

OSErr SimSystem::GetCurrentProcess(ProcessSerialNumber* psn) {
    // kCurrentProcess.
    psn->highLongOfPSN = 0;
    psn->lowLongOfPSN = 2;
    return 0;
}

OSStatus SimSystem::GetProcessPID(const ProcessSerialNumber*, pid_t* pid) {
    *pid = m_pid;
    return 0;
}

int SimSystem::sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void* newp,
                            std::size_t) {
    if (newp || std::strcmp(name, "kern.osrelease") != 0) {
        errno = newp ? EPERM : ENOENT;
        return -1;
    }
    const std::size_t needed = m_kernelRelease.size() + 1;
    if (!oldp) {
        *oldlenp = needed;
        return 0;
    }
    if (*oldlenp < needed) {
        errno = ENOMEM;
        return -1;
    }
    std::memcpy(oldp, m_kernelRelease.c_str(), needed);
    *oldlenp = needed;
    return 0;
}

OSStatus SimSystem::SessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                                   SessionAttributeBits* attributes) {
    if (m_sessionInfoFails || (session != callerSecuritySession && session != m_sessionId)) {
        return errSessionInvalidId;
    }
    *sessionId = m_sessionId;
    // sessionHasGraphicAccess | sessionHasTTY is what a login session has.
    *attributes = 0x0010 | 0x0020;
    return errSessionSuccess;
}

SignalHandler SimSystem::signal(int signal, SignalHandler handler) {
    if (m_signalFails) {
        return SIG_ERR;
    }
    const auto previous = m_handlers.count(signal) ? m_handlers[signal] : SIG_DFL;
    m_handlers[signal] = handler;
    return previous;
}

bool SimSystem::raise(int signal) {
    const auto found = m_handlers.find(signal);
    if (found == m_handlers.end() || found->second == SIG_DFL || found->second == SIG_IGN) {
        return false;
    }
    found->second(signal);
    return true;
}

unsigned int SimSystem::sleep(unsigned int seconds) {
    m_secondsSlept += seconds;
    m_runLoop.sleep(static_cast<SimRunLoop::Nanoseconds>(seconds) * SimRunLoop::kSecond);
    return 0;
}

void SimSystem::exit(int status) {
    throw SimExit{status};
}

}  // namespace qn::platform::sim
