#include "platform/linux/driver/DriverDirectory.h"

#include <mutex>

namespace qn::platform::linux_host {

namespace {
std::mutex& lock() {
    static std::mutex m;
    return m;
}
std::string& chosen() {
    static std::string directory = DriverDirectory::builtIn();
    return directory;
}
}  // namespace

const char* DriverDirectory::builtIn() {
    return QN_DRIVER_DIR;
}

std::string DriverDirectory::get() {
    std::lock_guard<std::mutex> guard(lock());
    return chosen();
}

void DriverDirectory::set(const std::string& directory) {
    std::lock_guard<std::mutex> guard(lock());
    chosen() = directory;
}

std::string DriverDirectory::socketPath(const std::string& directory, std::uint32_t index) {
    return directory + "/" + kDriverClassName + std::to_string(index);
}

}  // namespace qn::platform::linux_host
