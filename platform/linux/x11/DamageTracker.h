#pragma once
// One damage object on the root window and one XFixes region: each turn takes what was
// damaged since the last one in one round trip, and nothing drawn in between is lost.

#include <X11/Xlib.h>
#include <X11/extensions/Xdamage.h>
#include <X11/extensions/Xfixes.h>

#include <memory>
#include <vector>

#include "platform/Quartz.h"

namespace qn::platform::x11 {

class DamageTracker {
  public:
    // Null when the server lacks Damage or XFixes.
    static std::unique_ptr<DamageTracker> create(Display* display);
    ~DamageTracker();
    DamageTracker(const DamageTracker&) = delete;
    DamageTracker& operator=(const DamageTracker&) = delete;

    // The DamageNotify event type.
    int notifyEventType() const { return m_eventBase + XDamageNotify; }
    // The rectangles damaged since the last call; the damage object starts over empty.
    std::vector<CGRect> take();

  private:
    DamageTracker(Display* display, int eventBase, Damage damage, XserverRegion region);

    Display* m_display;
    int m_eventBase;
    Damage m_damage;
    XserverRegion m_region;
};

}  // namespace qn::platform::x11
