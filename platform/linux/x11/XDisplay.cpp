#include "platform/linux/x11/XDisplay.h"

#include <algorithm>
#include <utility>

#include "platform/linux/x11/XErrorTrap.h"

namespace qn::platform::x11 {

XEventHandlerRegistration::~XEventHandlerRegistration() {
    m_display->removeEventHandler(m_type, m_id);
}

std::unique_ptr<XDisplay> XDisplay::open(const char* name, std::function<void()> onConnectionLost) {
    XErrorTrap::installProcessHandlers();
    Display* display = XOpenDisplay(name);
    if (display == nullptr) {
        return nullptr;
    }
    return std::unique_ptr<XDisplay>(new XDisplay(display, std::move(onConnectionLost)));
}

XDisplay::XDisplay(Display* display, std::function<void()> onConnectionLost)
    : m_display(display), m_onConnectionLost(std::move(onConnectionLost)) {
    XSetIOErrorExitHandler(m_display, &XDisplay::connectionLost, this);
}

XDisplay::~XDisplay() {
    XCloseDisplay(m_display);
}

void XDisplay::connectionLost(Display*, void* self) {
    auto* display = static_cast<XDisplay*>(self);
    if (std::exchange(display->m_broken, true)) {
        return;
    }
    if (display->m_onConnectionLost) {
        display->m_onConnectionLost();
    }
}

bool XDisplay::dispatchPending(std::size_t limit) {
    if (m_broken) {
        return false;
    }
    // Reads what the socket holds now without blocking; what arrives later wakes the
    // caller's loop again.
    const int queued = XEventsQueued(m_display, QueuedAfterReading);
    std::size_t handled = 0;
    for (int i = 0; i < queued && handled < limit && !m_broken; ++i, ++handled) {
        XEvent event;
        XNextEvent(m_display, &event);
        const auto found = m_handlers.find(event.type);
        if (found == m_handlers.end()) {
            continue;
        }
        // A handler may drop registrations, its own too.
        const auto handlers = found->second;
        for (const auto& [id, handler] : handlers) {
            handler(event);
        }
    }
    if (m_broken) {
        return false;
    }
    XFlush(m_display);
    return !m_broken && XEventsQueued(m_display, QueuedAlready) > 0;
}

std::unique_ptr<XEventHandlerRegistration> XDisplay::addEventHandler(int type,
                                                                     EventHandler handler) {
    const auto id = m_nextHandlerId++;
    m_handlers[type].emplace_back(id, std::move(handler));
    return std::make_unique<XEventHandlerRegistration>(*this, type, id);
}

void XDisplay::removeEventHandler(int type, std::uint64_t id) {
    auto found = m_handlers.find(type);
    if (found == m_handlers.end()) {
        return;
    }
    std::erase_if(found->second, [id](const auto& entry) { return entry.first == id; });
    if (found->second.empty()) {
        m_handlers.erase(found);
    }
}

}  // namespace qn::platform::x11
