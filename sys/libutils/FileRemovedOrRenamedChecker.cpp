#include "sys/libutils/FileRemovedOrRenamedChecker.h"

#include <fcntl.h>
#include <unistd.h>

#include "sys/libutils/KQueueWaitable.h"

namespace qn::sys {

std::unique_ptr<FileRemovedOrRenamedChecker> FileRemovedOrRenamedChecker::create(
    const std::string& path) {
    return std::make_unique<MacFileRemovedOrRenamedChecker>(path);
}

MacFileRemovedOrRenamedChecker::MacFileRemovedOrRenamedChecker(const std::string& path)
    : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      m_waitable(std::make_unique<KQueueWaitable>(m_descriptor)) {
    try {
        m_waitable->setEvents(KQueueWaitable::kRename | KQueueWaitable::kDelete);
    } catch (...) {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
        throw;
    }
}

MacFileRemovedOrRenamedChecker::~MacFileRemovedOrRenamedChecker() {
    m_waitable.reset();
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

bool MacFileRemovedOrRenamedChecker::hasChanged() {
    return m_waitable->wait(0);
}

}  // namespace qn::sys
