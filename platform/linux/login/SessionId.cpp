#include "platform/linux/login/SessionId.h"

#include <cstdint>

namespace qn::platform::linux_host::login {

namespace {

constexpr std::uint32_t kMadeByLogind = 0x80000000u;

// The value of a non-empty run of decimal digits below the limit, or nothing.
bool parseDigits(std::string_view digits, std::uint64_t limit, std::uint64_t& value) {
    if (digits.empty()) {
        return false;
    }
    value = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
        if (value >= limit) {
            return false;
        }
    }
    return true;
}

}  // namespace

SecuritySessionId securitySessionIdFromLogindId(std::string_view id) {
    std::uint64_t value = 0;
    if (parseDigits(id, std::uint64_t{1} << 32, value)) {
        return static_cast<SecuritySessionId>(value);
    }
    if (id.size() > 1 && id.front() == 'c' && parseDigits(id.substr(1), kMadeByLogind, value)) {
        return kMadeByLogind + static_cast<SecuritySessionId>(value);
    }
    return 0;
}

}  // namespace qn::platform::linux_host::login
