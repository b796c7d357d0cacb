#include "sys/libutils/posix/Exception.h"

#include <cstring>
#include <iomanip>
#include <sstream>

#include "sys/libutils/Conversions.h"
#include "sys/libutils/Formatter.h"

namespace qn::sys {

namespace {

std::wstring strerrorText(std::uint64_t systemCode) {
    char buffer[256] = {};
    // The GNU form returns a pointer that may or may not be the buffer.
    const char* text = strerror_r(static_cast<int>(systemCode), buffer, sizeof buffer);
    return text != nullptr ? ToWideString(text) : std::wstring();
}

}  // namespace

std::wstring systemErrorText(std::uint64_t systemCode, bool withNumber) {
    std::wstring error = strerrorText(systemCode);
    if (!withNumber) {
        return error;
    }
    WFormatter formatter;
    formatter.setPattern(L"posix 0x%1");
    (formatter << std::hex << std::setw(8) << std::setfill(L'0') << systemCode).next();
    std::wstring number = formatter.result();
    if (error.empty()) {
        return number;
    }
    formatter.setPattern(L"%1: %2");
    (formatter << number).next();
    (formatter << error).next();
    return formatter.result();
}

}  // namespace qn::sys
