#include "app/OSX/QuintorUserAgent/Display.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/Backend.h"
#include "platform/System.h"

namespace qn::app::osx::qnuapp {

bool Display::isAccessible() const {
    return platform::quartz().CGDisplayIOServicePort(m_id) != 0;
}

bool Display::isOnline() const {
    std::vector<platform::CGDirectDisplayID> ids(maxDisplays, 0);
    std::uint32_t count = 0;
    platform::quartz().CGGetOnlineDisplayList(maxDisplays, ids.data(), &count);
    ids.resize(std::min(count, maxDisplays));
    return std::find(ids.begin(), ids.end(), m_id) != ids.end();
}

double Display::refreshRate() const {
    auto& quartz = platform::quartz();
    return quartz.CGDisplayModeGetRefreshRate(quartz.CGDisplayCopyDisplayMode(m_id));
}

std::int32_t osReleaseNumber() {
    static std::int32_t number = -1;
    if (number != -1) {
        return number;
    }
    char release[256] = {};
    std::size_t size = sizeof release;
    if (platform::system().sysctlbyname("kern.osrelease", release, &size, nullptr, 0) != 0) {
        return number;
    }
    std::string digits;
    for (const char* c = release; *c; ++c) {
        if (*c != '.') {
            digits += *c;
        }
    }
    number = std::atoi(digits.c_str());
    return number;
}

}  // namespace qn::app::osx::qnuapp
