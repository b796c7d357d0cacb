#include "platform/linux/system/LinuxSystem.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

namespace qn::platform::linux_host {

OSErr LinuxSystem::GetCurrentProcess(ProcessSerialNumber* psn) {
    if (psn != nullptr) {
        *psn = ProcessSerialNumber{0, static_cast<std::uint32_t>(getpid())};
    }
    return noErrOSErr;
}

OSStatus LinuxSystem::GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) {
    if (psn == nullptr || pid == nullptr) {
        return -50;  // paramErr
    }
    *pid = static_cast<pid_t>(psn->lowLongOfPSN);
    return 0;
}

int LinuxSystem::sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void*,
                              std::size_t) {
    if (name == nullptr || std::strcmp(name, "kern.osrelease") != 0 || oldlenp == nullptr) {
        return -1;
    }
    utsname info{};
    if (uname(&info) != 0) {
        return -1;
    }
    const std::size_t needed = std::strlen(info.release) + 1;
    if (oldp == nullptr) {
        *oldlenp = needed;
        return 0;
    }
    if (*oldlenp < needed) {
        return -1;
    }
    std::memcpy(oldp, info.release, needed);
    *oldlenp = needed;
    return 0;
}

OSStatus LinuxSystem::SessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                                     SessionAttributeBits* attributes) {
    if (session != callerSecuritySession || !m_sessionId) {
        return errSessionInvalidId;
    }
    const auto id = m_sessionId();
    if (!id) {
        return errSessionInvalidId;
    }
    if (sessionId != nullptr) {
        *sessionId = *id;
    }
    if (attributes != nullptr) {
        *attributes = 0;
    }
    return errSessionSuccess;
}

SignalHandler LinuxSystem::signal(int signal, SignalHandler handler) {
    // No SA_RESTART: a caught signal must cut the start-up's sleep(1) short.
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    if (sigaction(signal, &action, &previous) != 0) {
        return SIG_ERR;
    }
    return previous.sa_handler;
}

unsigned int LinuxSystem::sleep(unsigned int seconds) {
    return ::sleep(seconds);
}

void LinuxSystem::exit(int status) {
    std::exit(status);
}

}  // namespace qn::platform::linux_host
