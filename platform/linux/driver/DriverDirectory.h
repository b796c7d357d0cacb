#pragma once
// Where the driver endpoints live: the build setting QN_DRIVER_DIR. Tests and tools
// point a process elsewhere with set(), never through the environment.

#include <cstdint>
#include <string>

namespace qn::platform::linux_host {

class DriverDirectory {
  public:
    static const char* builtIn();
    static std::string get();
    static void set(const std::string& directory);
    // The socket of one driver instance: "<directory>/QuintorParent<index>".
    static std::string socketPath(const std::string& directory, std::uint32_t index);
};

inline constexpr const char* kDriverClassName = "QuintorParent";

}  // namespace qn::platform::linux_host
