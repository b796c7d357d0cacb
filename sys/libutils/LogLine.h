#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qn::sys {

// The plain text of a log line before armouring, and its parse for readers.
// Full form (line type not 0), tab-separated:
//   HH:MM:SS.mmm, thread (empty), module, instance, level, file:line, message
// Short form (line type 0): "[module instance] message", the instance and its
// blank only when the instance is not empty.
namespace logline {

// Appends the elapsed time as HH:MM:SS.mmm; the hours grow past two digits.
void appendElapsed(std::string& out, std::int64_t milliseconds);

// Appends the plain line. A null file, thread or level name stops the line
// there, as a stream in a fail state would; the result tells whether it is whole.
bool appendPlain(std::string& out, std::int32_t lineType, std::int64_t elapsed, std::int32_t level,
                 const char* file, std::int32_t line, const std::string& module,
                 const std::string& instance, const char* thread, const std::string& message);

struct Fields {
    bool full = false;
    std::string_view time, thread, module, instance, level, place, message;
};

// Splits a plain line into its fields; false when it has neither form.
bool parse(std::string_view text, Fields& fields);

// Whether a decrypted line, padding included, is one the logger writes: one
// of the two forms, a level name in the full form, and nothing but tab, line
// breaks (a message may hold them), printable ASCII and well-formed UTF-8. A
// wrong key, vector or a damaged block fails this with near certainty.
bool isLogLine(std::string_view text);

}  // namespace logline
}  // namespace qn::sys
