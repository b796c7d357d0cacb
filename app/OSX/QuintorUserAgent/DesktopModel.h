#pragma once

#include <cstdint>
#include <set>

#include "app/OSX/QuintorUserAgent/Display.h"

namespace qn::app::osx::qnuapp {

// The displays the agent has already reported as present, by ascending id.
class DesktopModel {
  public:
    bool contains(platform::CGDirectDisplayID id) const;
    void add(platform::CGDirectDisplayID id) { m_displays.insert(Display(id)); }
    void remove(platform::CGDirectDisplayID id) { m_displays.erase(Display(id)); }
    void clear() { m_displays.clear(); }
    // The online displays into `ids` (room for maxDisplays); 0 when the list fails.
    std::uint32_t onlineDisplays(platform::CGDirectDisplayID* ids) const;

  private:
    std::set<Display> m_displays;
};

}  // namespace qn::app::osx::qnuapp
