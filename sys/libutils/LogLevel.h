#pragma once

#include <cstdint>
#include <string_view>

namespace qn::sys::loglevel {

// A smaller number is more severe.
constexpr std::int32_t ALWAYS = 0;
constexpr std::int32_t FATAL = 1;
constexpr std::int32_t ERROR = 2;
constexpr std::int32_t WARN = 3;
constexpr std::int32_t INFO = 4;
constexpr std::int32_t DEBUG = 5;
constexpr std::int32_t VERBOSE = 6;
constexpr std::int32_t COUNT = 7;

// The level's name from the table, or null for a number outside it.
const char* levelName(std::int32_t level);

// A level name in any case gives its number; empty or unknown text (also a
// number such as "4") gives fallback.
std::int32_t parseLevel(std::string_view text, std::int32_t fallback);

}  // namespace qn::sys::loglevel
