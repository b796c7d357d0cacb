#pragma once
// Whether the screen sleeps: the monitors' power state where the server has DPMS, else
// the screen saver's state.

#include <X11/Xlib.h>

namespace qn::platform::x11 {

class ScreenSleepState {
  public:
    explicit ScreenSleepState(Display* display);

    bool asleep();
    bool usesDpms() const { return m_hasDpms; }

  private:
    Display* m_display;
    bool m_hasDpms = false;
    bool m_hasScreenSaver = false;
};

}  // namespace qn::platform::x11
