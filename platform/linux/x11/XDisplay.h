#pragma once
// The one connection to the X server: owns the Display*, drains its events in bounded
// turns and hands each to the handlers registered for its type.

#include <X11/Xlib.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace qn::platform::x11 {

class XDisplay;

// An event handler's registration; dropping it removes the handler.
class XEventHandlerRegistration {
  public:
    XEventHandlerRegistration(XDisplay& display, int type, std::uint64_t id)
        : m_display(&display), m_type(type), m_id(id) {}
    ~XEventHandlerRegistration();
    XEventHandlerRegistration(const XEventHandlerRegistration&) = delete;
    XEventHandlerRegistration& operator=(const XEventHandlerRegistration&) = delete;

  private:
    XDisplay* m_display;
    int m_type;
    std::uint64_t m_id;
};

class XDisplay {
  public:
    using EventHandler = std::function<void(const XEvent&)>;

    // Connects to the display `name` names (null: the one DISPLAY names); null when no
    // server answers. `onConnectionLost` runs once when the connection breaks later; it
    // replaces Xlib's own handler, which would end the process behind our back.
    static std::unique_ptr<XDisplay> open(const char* name, std::function<void()> onConnectionLost);

    ~XDisplay();
    XDisplay(const XDisplay&) = delete;
    XDisplay& operator=(const XDisplay&) = delete;

    Display* get() const { return m_display; }
    Window root() const { return DefaultRootWindow(m_display); }
    int fd() const { return ConnectionNumber(m_display); }
    bool broken() const { return m_broken; }

    // Handles the events queued now or readable without blocking, at most `limit` of
    // them, so a storm of events cannot hold the caller's loop; flushes the requests the
    // handlers made. True when events are left for another turn.
    bool dispatchPending(std::size_t limit = 256);

    [[nodiscard]] std::unique_ptr<XEventHandlerRegistration> addEventHandler(int type,
                                                                             EventHandler handler);

  private:
    friend class XEventHandlerRegistration;
    XDisplay(Display* display, std::function<void()> onConnectionLost);
    void removeEventHandler(int type, std::uint64_t id);
    static void connectionLost(Display* display, void* self);

    Display* m_display;
    std::function<void()> m_onConnectionLost;
    bool m_broken = false;
    std::uint64_t m_nextHandlerId = 1;
    std::map<int, std::vector<std::pair<std::uint64_t, EventHandler>>> m_handlers;
};

}  // namespace qn::platform::x11
