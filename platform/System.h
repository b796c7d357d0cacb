#pragma once
// Process and session services: process id, kernel release, security session id,
// accessibility zoom, sleep, signals, exit.

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace qn::platform {

using OSErr = std::int16_t;
using OSStatus = std::int32_t;
using SecuritySessionId = std::uint32_t;
using SessionAttributeBits = std::uint32_t;

struct ProcessSerialNumber {
    std::uint32_t highLongOfPSN = 0;
    std::uint32_t lowLongOfPSN = 0;
};

constexpr OSErr noErrOSErr = 0;
// The caller's own session.
constexpr SecuritySessionId callerSecuritySession = static_cast<SecuritySessionId>(-1);
constexpr OSStatus errSessionSuccess = 0;
constexpr OSStatus errSessionInvalidId = -60500;

using SignalHandler = void (*)(int signal);

class System {
  public:
    virtual ~System() = default;

    virtual OSErr GetCurrentProcess(ProcessSerialNumber* psn) = 0;
    virtual OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid) = 0;
    // 0 on success, -1 on failure; "kern.osrelease" gives the kernel release text.
    virtual int sysctlbyname(const char* name, void* oldp, std::size_t* oldlenp, const void* newp,
                             std::size_t newlen) = 0;
    virtual OSStatus SessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                                    SessionAttributeBits* attributes) = 0;
    virtual bool UAZoomEnabled() = 0;
    // The previous handler, or SIG_ERR when the handler cannot be installed.
    virtual SignalHandler signal(int signal, SignalHandler handler) = 0;
    // Blocks the calling thread for whole seconds.
    virtual unsigned int sleep(unsigned int seconds) = 0;
    [[noreturn]] virtual void exit(int status) = 0;
    // Ends the process at once, as a failed C assertion does.
    [[noreturn]] virtual void abort() { std::abort(); }
};

}  // namespace qn::platform
