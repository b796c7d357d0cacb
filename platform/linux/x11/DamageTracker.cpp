#include "platform/linux/x11/DamageTracker.h"

#include "platform/linux/x11/RegionRects.h"
#include "platform/linux/x11/XErrorTrap.h"

namespace qn::platform::x11 {

std::unique_ptr<DamageTracker> DamageTracker::create(Display* display) {
    int damageEvents = 0;
    int damageErrors = 0;
    int fixesEvents = 0;
    int fixesErrors = 0;
    if (!XDamageQueryExtension(display, &damageEvents, &damageErrors) ||
        !XFixesQueryExtension(display, &fixesEvents, &fixesErrors)) {
        return nullptr;
    }
    int major = 0;
    int minor = 0;
    XDamageQueryVersion(display, &major, &minor);
    XFixesQueryVersion(display, &major, &minor);
    XErrorTrap trap(display);
    // Non-empty reporting: one event when the damage stops being empty, none for each
    // drawing after it, until the next take() empties it again.
    const Damage damage = XDamageCreate(display, DefaultRootWindow(display), XDamageReportNonEmpty);
    const XserverRegion region = XFixesCreateRegion(display, nullptr, 0);
    if (trap.errorCode() != Success) {
        return nullptr;
    }
    return std::unique_ptr<DamageTracker>(new DamageTracker(display, damageEvents, damage, region));
}

DamageTracker::DamageTracker(Display* display, int eventBase, Damage damage, XserverRegion region)
    : m_display(display), m_eventBase(eventBase), m_damage(damage), m_region(region) {}

DamageTracker::~DamageTracker() {
    XErrorTrap trap(m_display);
    XDamageDestroy(m_display, m_damage);
    XFixesDestroyRegion(m_display, m_region);
    XFlush(m_display);
}

std::vector<CGRect> DamageTracker::take() {
    XDamageSubtract(m_display, m_damage, None, m_region);
    int count = 0;
    XRectangle* rects = XFixesFetchRegion(m_display, m_region, &count);
    auto out = regionRects(rects, count);
    if (rects) {
        XFree(rects);
    }
    return out;
}

}  // namespace qn::platform::x11
