#include "platform/linux/x11/ScreenSleepState.h"

#include <X11/extensions/dpms.h>
#include <X11/extensions/scrnsaver.h>

#include <memory>

namespace qn::platform::x11 {

ScreenSleepState::ScreenSleepState(Display* display) : m_display(display) {
    int events = 0;
    int errors = 0;
    m_hasDpms = DPMSQueryExtension(m_display, &events, &errors) && DPMSCapable(m_display);
    m_hasScreenSaver = XScreenSaverQueryExtension(m_display, &events, &errors);
}

bool ScreenSleepState::asleep() {
    if (m_hasDpms) {
        CARD16 level = DPMSModeOn;
        BOOL enabled = False;
        if (DPMSInfo(m_display, &level, &enabled)) {
            return enabled && level != DPMSModeOn;
        }
    }
    if (m_hasScreenSaver) {
        struct Free {
            void operator()(XScreenSaverInfo* i) const { XFree(i); }
        };
        std::unique_ptr<XScreenSaverInfo, Free> info(XScreenSaverAllocInfo());
        if (info && XScreenSaverQueryInfo(m_display, DefaultRootWindow(m_display), info.get())) {
            return info->state == ScreenSaverOn;
        }
    }
    return false;
}

}  // namespace qn::platform::x11
