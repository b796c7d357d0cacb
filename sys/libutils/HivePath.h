#pragma once

#include <string>

namespace qn::sys {

// Where the hive lies. The raw name is a build setting; a leading "~" or
// "~user" is expanded once, at the first access, and kept for the process.
class HivePath {
  public:
    static const char* builtIn();
    // The hive's name for this process.
    static const std::string& get();
    // Points this process at another hive before or after the first access:
    // the seam through which tests and the hive tool choose a file.
    static void set(const std::string& path);
    // The expansion of a raw name; an unknown user or home leaves it as it is.
    static std::string expand(const std::string& raw);
};

}  // namespace qn::sys
