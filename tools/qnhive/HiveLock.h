#pragma once

#include <string>

#include "sys/libutils/posix/FileDescriptor.h"

namespace qn::tools {

// An exclusive advisory lock that serialises qnhive's own read-modify-write.
// It lies on "<hive>.lock" beside the hive, a file that is never renamed: a
// lock on the hive itself would hold the inode that the next write replaces.
class HiveLock {
  public:
    // Waits for the lock; throws PersistWriteFailed when it cannot be taken.
    explicit HiveLock(const std::string& hivePath);
    static std::string lockPath(const std::string& hivePath);

  private:
    sys::FileDescriptor m_fd;
};

}  // namespace qn::tools
