#include "app/OSX/QuintorUserAgent/Display.h"

#include <algorithm>
#include <sstream>
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
    // Read once per process, that is once per host: a test's new host is read afresh.
    static unsigned long readUnder = 0;
    if (readUnder != platform::backendGeneration()) {
        readUnder = platform::backendGeneration();
        number = -1;
    }
    if (number != -1) {
        return number;
    }
    // A failing call leaves the buffer empty, the extraction fails and -1 stays, so the
    // release is asked again next time.
    char release[256] = {};
    std::size_t size = sizeof release;
    platform::system().sysctlbyname("kern.osrelease", release, &size, nullptr, 0);
    std::string digits(release);
    std::erase(digits, '.');
    std::istringstream(digits) >> number;
    return number;
}

}  // namespace qn::app::osx::qnuapp
