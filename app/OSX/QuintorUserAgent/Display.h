#pragma once

#include <cstdint>

#include "platform/Quartz.h"

namespace qn::app::osx::qnuapp {

// The bound of every system list of displays in the agent.
constexpr std::uint32_t maxDisplays = 64;

// One display by its id; every fact is asked of the system when needed.
class Display {
  public:
    explicit Display(platform::CGDirectDisplayID id) : m_id(id) {}
    platform::CGDirectDisplayID id() const { return m_id; }

    // The system has a registry service for it.
    bool isAccessible() const;
    // In the online list (also asleep or mirrored displays); the list's error is not
    // looked at.
    bool isOnline() const;
    // Of the current mode; a mode is copied on every call and not released.
    double refreshRate() const;

    bool operator==(const Display& other) const { return m_id == other.m_id; }
    bool operator<(const Display& other) const { return m_id < other.m_id; }

  private:
    platform::CGDirectDisplayID m_id;
};

// The kernel release as one integer, the dots taken out ("13.0.0" gives 1300); read once.
std::int32_t osReleaseNumber();

}  // namespace qn::app::osx::qnuapp
