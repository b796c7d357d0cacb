#pragma once

#include <cstddef>
#include <cstdint>

#include "sys/libutils/Waitable.h"

namespace qn::sys {

// Watches one descriptor for file events (rename, delete, write) and read
// readiness. All such waitables share one kernel event queue of the process;
// on Linux that is one inotify instance, whose events are handed to the
// waitables that watch the file they belong to.
class KQueueWaitable : public Waitable {
  public:
    // Bits of setEvents and hasFired.
    static constexpr std::uint32_t kRename = 1;
    static constexpr std::uint32_t kDelete = 2;
    static constexpr std::uint32_t kWrite = 4;
    static constexpr std::uint32_t kRead = 8;
    static constexpr std::size_t kMaxFilters = 8;

    explicit KQueueWaitable(int descriptor);

    // Adds one file-event filter for the rename/delete/write bits together, and
    // one read filter for the read bit. Throws Failure "No more filters can be
    // set" beyond kMaxFilters and "Failed to set event" if the kernel refuses.
    void setEvents(std::uint32_t mask);
    // Whether the latest event that wait() returned matches one mask bit.
    bool hasFired(std::uint32_t mask) const;
    std::size_t filterCount() const;
};

}  // namespace qn::sys
