#pragma once

#include <string>
#include <string_view>

namespace qn::sys {

// The hive file on disk: its template, and the whole-file read and rewrite.
class HiveFile {
  public:
    // The 153-byte template, seven lines ended by CR LF.
    static std::string_view templateText();
    // The file's text up to its first zero byte. A missing file is created
    // from the template first; the bare texts "Cannot create hive" and
    // "Still cannot open hive" are thrown as const char*.
    static std::string readText(const std::string& path);
    // Truncates the file in place and writes text; a file that cannot be
    // opened loses the change silently.
    static void writeText(const std::string& path, const std::string& text);
};

}  // namespace qn::sys
