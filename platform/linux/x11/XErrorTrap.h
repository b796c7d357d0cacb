#pragma once
// Records the X errors of the requests made while it lives, instead of letting Xlib's
// default handler end the process.

#include <X11/Xlib.h>

namespace qn::platform::x11 {

class XErrorTrap {
  public:
    explicit XErrorTrap(Display* display);
    ~XErrorTrap();
    XErrorTrap(const XErrorTrap&) = delete;
    XErrorTrap& operator=(const XErrorTrap&) = delete;

    // Waits for the server to answer every request so far; the first error's code, or
    // Success.
    int errorCode();

    // Makes sure that an X error outside any trap is ignored rather than fatal, and that
    // Xlib's default I/O error handler is never called.
    static void installProcessHandlers();

  private:
    static int handle(Display* display, XErrorEvent* event);

    Display* m_display;
    XErrorTrap* m_outer;
    int m_code = Success;
};

}  // namespace qn::platform::x11
