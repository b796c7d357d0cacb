#pragma once
// The screen's outputs as RandR tells them, and the events that announce a change. A
// server without RandR has one display: the root window.

#include <X11/Xlib.h>

#include "platform/linux/x11/DisplayOutput.h"
#include "platform/linux/x11/XAtomCache.h"

namespace qn::platform::x11 {

class RandrScreen {
  public:
    RandrScreen(Display* display, XAtomCache& atoms);

    bool hasRandr() const { return m_hasRandr; }
    // The first RandR event type (valid only with RandR).
    int eventBase() const { return m_eventBase; }

    // Asks for screen, CRTC, output and output property change events on the root.
    void selectChangeEvents();
    // Keeps Xlib's idea of the screen size current after a RandR event.
    void noteEvent(XEvent& event);

    // The online outputs in the server's order and the primary output (0: none); with
    // `allNames`, also the name of every output, online or not, from the same replies.
    DisplayOutputs readOutputs(std::uint32_t* primary,
                               std::vector<std::string>* allNames = nullptr);

  private:
    DisplayOutputs rootOnly();
    void readIdentity(DisplayOutput& output);

    Display* m_display;
    XAtomCache& m_atoms;
    Window m_root;
    bool m_hasRandr = false;
    int m_eventBase = 0;
};

}  // namespace qn::platform::x11
