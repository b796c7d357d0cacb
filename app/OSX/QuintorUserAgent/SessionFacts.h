#pragma once

#include <cstdint>

namespace qn::app::osx::qnuapp {

// What the agent tells the Manager about its session at start.
struct SessionFacts {
    // The security session id; 0 when the lookup failed.
    std::uint32_t userSessionId = 0;
    // No session dictionary, or its login-done value is the boolean false object.
    bool isPreloginSession = false;

    static SessionFacts read();
};

}  // namespace qn::app::osx::qnuapp
