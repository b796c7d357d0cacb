#include "sys/libutils/HivePath.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

// Set by the build (sys/libutils/CMakeLists.txt), the one place it is written.
#ifndef QN_HIVE_PATH
#error "QN_HIVE_PATH is not defined: the build defines it"
#endif

namespace qn::sys {

namespace {

std::string& current() {
    static std::string path = HivePath::expand(HivePath::builtIn());
    return path;
}

}  // namespace

const char* HivePath::builtIn() {
    return QN_HIVE_PATH;
}

const std::string& HivePath::get() {
    return current();
}

void HivePath::set(const std::string& path) {
    current() = path;
}

std::string HivePath::expand(const std::string& raw) {
    if (raw.empty() || raw[0] != '~') {
        return raw;
    }
    const std::size_t slash = raw.find('/');
    std::string home;
    if (raw.size() == 1 || slash == 1) {
        if (const char* variable = std::getenv("HOME")) {
            home = variable;
        } else {
            const passwd* entry = getpwuid(getuid());
            if (entry == nullptr) {
                return raw;
            }
            home = entry->pw_dir;
        }
    } else {
        const std::string user =
            raw.substr(1, slash == std::string::npos ? std::string::npos : slash - 1);
        const passwd* entry = getpwnam(user.c_str());
        if (entry == nullptr) {
            return raw;
        }
        home = entry->pw_dir;
    }
    if (slash == std::string::npos) {
        return home;
    }
    if (home.empty() || home.back() != '/') {
        home += '/';
    }
    return home + raw.substr(slash + 1);
}

}  // namespace qn::sys
