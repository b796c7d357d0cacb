#pragma once
// This process's logind session, its properties asked afresh on every question: the
// session dictionary and the security session id. The session's path is asked once when
// logind knows this process (it cannot change), on every question otherwise. Synchronous calls on a
// borrowed system bus connection.

#include <sys/types.h>
#include <systemd/sd-bus.h>

#include <optional>
#include <string>

#include "platform/System.h"
#include "platform/Value.h"
#include "platform/linux/login/SessionRecord.h"

namespace qn::platform::linux_host::login {

class LoginSession {
  public:
    // The bus stays the caller's and must outlive this object.
    LoginSession(sd_bus* bus, pid_t pid);

    // Quartz's CGSessionCopyCurrentDictionary: null when no session is found.
    Value copyCurrentDictionary();
    // System's SessionGetInfo for the caller's own session (or its id).
    OSStatus sessionGetInfo(SecuritySessionId session, SecuritySessionId* sessionId,
                            SessionAttributeBits* attributes);

    // The session's object path: by this process's id, or, for a process outside any
    // session (a systemd user service), the user's display session. Nothing when there is
    // none or logind cannot be asked.
    std::optional<std::string> findSessionPath();
    std::optional<SessionRecord> readSession(const std::string& path);
    std::optional<SessionRecord> currentSession();

    // The path found by the last lookup that found one.
    const std::string& lastSessionPath() const { return m_lastSessionPath; }
    // The session's Active as last read or reported; nothing before the first.
    std::optional<bool> lastActive() const { return m_lastActive; }
    void noteActive(bool active) { m_lastActive = active; }

  private:
    std::optional<std::string> userDisplaySessionPath();

    sd_bus* m_bus;
    pid_t m_pid;
    // The session this process was started in, once logind has named it.
    std::optional<std::string> m_ownSessionPath;
    std::string m_lastSessionPath;
    std::optional<bool> m_lastActive;
};

}  // namespace qn::platform::linux_host::login
