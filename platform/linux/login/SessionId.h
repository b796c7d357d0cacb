#pragma once
// The 32-bit security session id of a logind session id.

#include <string_view>

#include "platform/System.h"

namespace qn::platform::linux_host::login {

// logind numbers login sessions "1", "2", ... and sessions it makes itself (greeters,
// autologin) "c1", "c2", ...: the first keep their number, the second get the high bit
// set so that both kinds stay apart. Anything else, or a number that does not fit, is 0.
SecuritySessionId securitySessionIdFromLogindId(std::string_view id);

}  // namespace qn::platform::linux_host::login
