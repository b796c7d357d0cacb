#pragma once

#include <cstdint>
#include <vector>

#include "sys/libutils/Waitable.h"

namespace qn::sys {

// Results of waitForAny besides an index.
constexpr std::uint32_t kWaitTimedOut = 0xFFFFFFFF;
constexpr std::uint32_t kWaitNoneClaimed = 0xFFFFFFFE;

// An ordered list of waitables, not owned.
class WaitableList {
  public:
    // A waitable already in the list moves to its end.
    void add(Waitable* waitable);
    void remove(Waitable* waitable);
    void addAll(const WaitableList& other);
    void clear() { m_entries.clear(); }
    std::size_t size() const { return m_entries.size(); }

    // The index of the first entry that is signalled or claims readiness;
    // kWaitTimedOut when nothing became ready in time, kWaitNoneClaimed when
    // something was ready but nobody claimed it (and for an empty list that
    // did not time out).
    std::uint32_t waitForAny(std::uint32_t timeout);

  private:
    std::vector<Waitable*> m_entries;
};

}  // namespace qn::sys
