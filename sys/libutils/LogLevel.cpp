#include "sys/libutils/LogLevel.h"

#include <cctype>

namespace qn::sys::loglevel {
namespace {

constexpr const char* kNames[COUNT] = {"ALWAYS", "FATAL", "ERROR",  "WARN",
                                       "INFO",   "DEBUG", "VERBOSE"};

bool equalUpper(std::string_view text, const char* name) {
    std::size_t i = 0;
    for (; i < text.size() && name[i] != '\0'; ++i)
        if (std::toupper(static_cast<unsigned char>(text[i])) !=
            std::toupper(static_cast<unsigned char>(name[i])))
            return false;
    return i == text.size() && name[i] == '\0';
}

}  // namespace

const char* levelName(std::int32_t level) {
    return level >= 0 && level < COUNT ? kNames[level] : nullptr;
}

std::int32_t parseLevel(std::string_view text, std::int32_t fallback) {
    if (text.empty())
        return fallback;
    for (std::int32_t level = 0; level < COUNT; ++level)
        if (equalUpper(text, kNames[level]))
            return level;
    return fallback;
}

}  // namespace qn::sys::loglevel
