#pragma once

#include <cstdint>
#include <string>

namespace qn::sys {

// "posix 0x" and the code in eight lower-case digits, then ": " and the
// strerror text when there is one. With withNumber false, the strerror text alone.
std::wstring systemErrorText(std::uint64_t systemCode, bool withNumber = true);

}  // namespace qn::sys
