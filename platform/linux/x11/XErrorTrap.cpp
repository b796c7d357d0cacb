#include "platform/linux/x11/XErrorTrap.h"

#include <mutex>

namespace qn::platform::x11 {
namespace {
// The innermost trap of this thread; Xlib's error handler is process-wide.
thread_local XErrorTrap* t_current = nullptr;
}  // namespace

XErrorTrap::XErrorTrap(Display* display) : m_display(display), m_outer(t_current) {
    installProcessHandlers();
    t_current = this;
}

XErrorTrap::~XErrorTrap() {
    t_current = m_outer;
}

int XErrorTrap::errorCode() {
    XSync(m_display, False);
    return m_code;
}

void XErrorTrap::installProcessHandlers() {
    static std::once_flag once;
    std::call_once(once, [] {
        XSetErrorHandler(&XErrorTrap::handle);
        // The default I/O handler prints to stderr; the connection's own exit handler
        // decides what a lost connection means.
        XSetIOErrorHandler([](Display*) { return 0; });
    });
}

int XErrorTrap::handle(Display* display, XErrorEvent* event) {
    // Errors outside a trap belong to requests whose answer nobody waits for (a window
    // gone between two calls); they are dropped, never fatal.
    for (auto* trap = t_current; trap != nullptr; trap = trap->m_outer) {
        if (trap->m_display == display) {
            if (trap->m_code == Success) {
                trap->m_code = event->error_code;
            }
            break;
        }
    }
    return 0;
}

}  // namespace qn::platform::x11
