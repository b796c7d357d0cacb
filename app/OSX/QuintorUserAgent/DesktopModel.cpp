#include "app/OSX/QuintorUserAgent/DesktopModel.h"

#include "platform/Backend.h"

namespace qn::app::osx::qnuapp {

bool DesktopModel::contains(platform::CGDirectDisplayID id) const {
    const auto found = m_displays.lower_bound(Display(id));
    return found != m_displays.end() && found->id() == id;
}

std::uint32_t DesktopModel::onlineDisplays(platform::CGDirectDisplayID* ids) const {
    std::uint32_t count = 0;
    platform::quartz().CGGetOnlineDisplayList(maxDisplays, ids, &count);
    return count;
}

}  // namespace qn::app::osx::qnuapp
