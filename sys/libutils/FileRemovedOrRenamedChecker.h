#pragma once

#include <memory>
#include <string>

namespace qn::sys {

class KQueueWaitable;

// Tells whether the directory entry of an open file has gone: renamed, or
// deleted (also while some process still holds the file open). Writes do not count.
class FileRemovedOrRenamedChecker {
  public:
    virtual ~FileRemovedOrRenamedChecker() = default;
    // Never blocks: true if such an event is pending.
    virtual bool hasChanged() = 0;

    // Throws Failure "Failed to set event" if the path cannot be watched.
    static std::unique_ptr<FileRemovedOrRenamedChecker> create(const std::string& path);
};

// Watches the file through the kernel event queue of KQueueWaitable.
class MacFileRemovedOrRenamedChecker : public FileRemovedOrRenamedChecker {
  public:
    explicit MacFileRemovedOrRenamedChecker(const std::string& path);
    ~MacFileRemovedOrRenamedChecker() override;
    MacFileRemovedOrRenamedChecker(const MacFileRemovedOrRenamedChecker&) = delete;
    MacFileRemovedOrRenamedChecker& operator=(const MacFileRemovedOrRenamedChecker&) = delete;

    bool hasChanged() override;

  private:
    int m_descriptor;
    std::unique_ptr<KQueueWaitable> m_waitable;
};

}  // namespace qn::sys
