#include "tools/qnhive/HiveLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstring>

#include "sys/libutils/HiveFile.h"
#include "sys/libutils/PersistException.h"

namespace qn::tools {

std::string HiveLock::lockPath(const std::string& hivePath) {
    return sys::HiveFile::resolve(hivePath) + ".lock";
}

HiveLock::HiveLock(const std::string& hivePath) {
    const std::string path = lockPath(hivePath);
    m_fd.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!m_fd.valid()) {
        throw sys::PersistWriteFailed("cannot open the lock file " + path + ": " +
                                      std::strerror(errno));
    }
    while (::flock(m_fd.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            throw sys::PersistWriteFailed("cannot lock " + path + ": " + std::strerror(errno));
        }
    }
}

}  // namespace qn::tools
