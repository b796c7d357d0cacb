#pragma once
// What logind says of one session, and the session dictionary and attribute bits made of
// it.

#include <cstdint>
#include <optional>
#include <string>

#include "platform/System.h"
#include "platform/Value.h"

namespace qn::platform::linux_host::login {

struct SessionRecord {
    std::string id;
    bool active = false;
    // "user", "greeter", "lock-screen", "background".
    std::string sessionClass;
    // "x11", "wayland", "tty", ...
    std::string type;
    std::string userName;
    std::uint32_t uid = 0;
    bool remote = false;
};

// On the console is the session's being the active one of its seat; only a greeter has
// not logged in. No session gives the null value, which keeps the agent waiting.
Value sessionDictionary(const std::optional<SessionRecord>& session);

SessionAttributeBits sessionAttributes(const SessionRecord& session);

}  // namespace qn::platform::linux_host::login
