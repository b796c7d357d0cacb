#include "sys/libutils/Files.h"

#include <dirent.h>
#include <fnmatch.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "sys/libutils/HivePath.h"

// Set by the build (sys/libutils/CMakeLists.txt), the one place it is written.
#ifndef QN_LOG_DIRECTORY
#error "QN_LOG_DIRECTORY is not defined: the build defines it"
#endif

namespace qn::sys {

bool directoryExists(const std::string& path) {
    DIR* directory = opendir(path.c_str());
    if (directory == nullptr) {
        return false;
    }
    closedir(directory);
    return true;
}

std::vector<std::string> listDirectory(const std::string& path, const std::string& pattern) {
    std::vector<std::string> names;
    const std::string effective = pattern.empty() ? "*" : pattern;
    DIR* directory = opendir(path.c_str());
    if (directory == nullptr) {
        return names;
    }
    while (dirent* entry = readdir(directory)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        if (fnmatch(effective.c_str(), entry->d_name, FNM_PERIOD) == 0) {
            names.emplace_back(entry->d_name);
        }
    }
    closedir(directory);
    return names;
}

std::string executablePath() {
    char buffer[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

std::string executableDirectory() {
    std::string path = executablePath();
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(0, slash);
}

std::string executableName() {
    std::string path = executablePath();
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(slash + 1);
}

std::string temporaryDirectory() {
    return "/tmp";
}

std::string dataDirectory() {
    static const std::string directory = HivePath::expand(QN_LOG_DIRECTORY);
    return directory;
}

bool makePrivateDirectory(const std::string& path) {
    // Each missing component is made 0700: the log is the user's alone.
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string prefix = path.substr(0, slash);
        if (!prefix.empty() && mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) {
            return false;
        }
        if (slash == std::string::npos) {
            break;
        }
    }
    return directoryExists(path);
}

bool isWritable(const std::string& path) {
    return access(path.c_str(), W_OK) == 0;
}

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

}  // namespace qn::sys
