#include "platform/linux/x11/X11Quartz.h"

#include <X11/extensions/Xrandr.h>

#include <algorithm>
#include <utility>

#include "platform/linux/x11/DamageTracker.h"
#include "platform/linux/x11/DisplayChanges.h"
#include "platform/linux/x11/RandrScreen.h"
#include "platform/linux/x11/ScreenSleepState.h"
#include "platform/linux/x11/ServerKind.h"
#include "platform/linux/x11/X11DisplayMode.h"
#include "platform/linux/x11/XAtomCache.h"
#include "platform/linux/x11/XDisplay.h"
#include "sys/libutils/LogSeam.h"

namespace qn::platform::x11 {
namespace {

constexpr int kWarn = 3;
const sys::logseam::LogSource kLogSource{"X11", ""};

}  // namespace

X11Quartz::X11Quartz(System& system, const char* displayName) : m_system(system) {
    // Xlib's handler would print and exit on its own; the agent's exit goes through
    // the System port like every other.
    m_display = XDisplay::open(displayName, [this] { m_system.exit(1); });
    if (!m_display) {
        return;
    }
    Display* display = m_display->get();
    m_atoms = std::make_unique<XAtomCache>(display);
    m_randr = std::make_unique<RandrScreen>(display, *m_atoms);
    m_sleep = std::make_unique<ScreenSleepState>(display);

    m_randr->selectChangeEvents();
    auto changed = [this](const XEvent& e) {
        m_randr->noteEvent(const_cast<XEvent&>(e));
        if (e.type != ConfigureNotify || e.xconfigure.window == m_display->root()) {
            m_configurationChanged = true;
        }
    };
    m_configurationHandlers.push_back(m_display->addEventHandler(ConfigureNotify, changed));
    if (m_randr->hasRandr()) {
        m_configurationHandlers.push_back(
            m_display->addEventHandler(m_randr->eventBase() + RRScreenChangeNotify, changed));
        m_configurationHandlers.push_back(
            m_display->addEventHandler(m_randr->eventBase() + RRNotify, changed));
    }
    // The names come with the first read: a second pass over the outputs would cost a
    // round trip per output.
    std::vector<std::string> names;
    readOutputs(&names);
    int opcode = 0;
    int event = 0;
    int error = 0;
    m_xwayland = isXwayland(XQueryExtension(display, "XWAYLAND", &opcode, &event, &error), names);
    // Written when the main display is first asked for: the host may be made before the
    // logger starts.
    m_xwaylandWarningDue = m_xwayland;
    XFlush(display);
}

X11Quartz::~X11Quartz() {
    m_damageHandler.reset();
    m_damage.reset();
    m_configurationHandlers.clear();
}

bool X11Quartz::usable() const {
    return m_display && !m_display->broken();
}

int X11Quartz::fd() const {
    return m_display ? m_display->fd() : -1;
}

bool X11Quartz::dispatchPending() {
    if (!usable()) {
        return false;
    }
    const bool more = m_display->dispatchPending();
    if (!usable()) {
        return false;
    }
    if (std::exchange(m_configurationChanged, false)) {
        reportReconfiguration();
    }
    if (std::exchange(m_damaged, false)) {
        reportDamage();
    }
    if (!usable()) {
        return false;
    }
    XFlush(m_display->get());
    return more || XEventsQueued(m_display->get(), QueuedAlready) > 0;
}

bool X11Quartz::hasQueuedEvents() const {
    return usable() && XEventsQueued(m_display->get(), QueuedAlready) > 0;
}

void X11Quartz::readOutputs(std::vector<std::string>* allNames) {
    m_outputs = m_randr->readOutputs(&m_primary, allNames);
    m_main = pickMainDisplay(m_outputs, m_primary);
}

void X11Quartz::reportReconfiguration() {
    const auto before = m_outputs;
    const auto mainBefore = m_main;
    readOutputs();
    const auto changes = deriveDisplayChanges(before, mainBefore, m_outputs, m_main);
    if (changes.empty()) {
        return;
    }
    // A callback may unregister callbacks, its own too.
    const auto callbacks = m_reconfiguration;
    for (const auto& change : changes) {
        for (const auto& r : callbacks) {
            r.callback(change.display, kCGDisplayBeginConfigurationFlag, r.userInfo);
        }
    }
    for (const auto& change : changes) {
        for (const auto& r : callbacks) {
            r.callback(change.display, change.flags, r.userInfo);
        }
    }
}

void X11Quartz::reportDamage() {
    if (!m_damage) {
        return;
    }
    const auto rects = m_damage->take();
    if (rects.empty()) {
        return;
    }
    const auto callbacks = m_refresh;
    for (const auto& r : callbacks) {
        r.callback(static_cast<std::uint32_t>(rects.size()), rects.data(), r.userInfo);
    }
}

void X11Quartz::updateDamageTracking() {
    if (!usable()) {
        return;
    }
    // Damage is tracked only while someone listens, so a running display stream costs
    // the server no damage bookkeeping for us.
    if (m_refresh.empty()) {
        m_damageHandler.reset();
        m_damage.reset();
        m_damaged = false;
        return;
    }
    if (m_damage) {
        return;
    }
    m_damage = DamageTracker::create(m_display->get());
    if (m_damage) {
        m_damageHandler = m_display->addEventHandler(m_damage->notifyEventType(),
                                                     [this](const XEvent&) { m_damaged = true; });
    }
}

std::vector<std::uint32_t> X11Quartz::drivenConnectorIds() const {
    std::vector<std::uint32_t> ids;
    for (const auto& o : m_outputs) {
        if (o.connectorId) {
            ids.push_back(*o.connectorId);
        }
    }
    return ids;
}

const DisplayOutput* X11Quartz::output(CGDirectDisplayID display) const {
    return usable() ? findOutput(m_outputs, display) : nullptr;
}

CGDirectDisplayID X11Quartz::CGMainDisplayID() {
    if (std::exchange(m_xwaylandWarningDue, false)) {
        QN_SEAM_LOG(kLogSource, kWarn,
                    "Screen updates and display streams are unavailable under Xwayland");
    }
    return usable() ? m_main : 0;
}

CGError X11Quartz::CGGetOnlineDisplayList(std::uint32_t maxDisplays,
                                          CGDirectDisplayID* onlineDisplays,
                                          std::uint32_t* displayCount) {
    if (!usable()) {
        *displayCount = 0;
        return kCGErrorFailure;
    }
    std::uint32_t count = 0;
    for (const auto& o : m_outputs) {
        // Without an array only the count is asked for.
        if (onlineDisplays) {
            if (count == maxDisplays) {
                break;
            }
            onlineDisplays[count] = o.id;
        }
        ++count;
    }
    *displayCount = count;
    return kCGErrorSuccess;
}

CGError X11Quartz::CGGetActiveDisplayList(std::uint32_t maxDisplays,
                                          CGDirectDisplayID* activeDisplays,
                                          std::uint32_t* displayCount) {
    if (!usable()) {
        *displayCount = 0;
        return kCGErrorFailure;
    }
    std::uint32_t count = 0;
    // A sleeping screen has no active display; of a mirror set only the first is active.
    const bool asleep = m_sleep->asleep();
    DisplayOutputs shown;
    for (const auto& o : m_outputs) {
        if (asleep || isMirrored(shown, o)) {
            continue;
        }
        shown.push_back(o);
        if (activeDisplays) {
            if (count == maxDisplays) {
                break;
            }
            activeDisplays[count] = o.id;
        }
        ++count;
    }
    *displayCount = count;
    return kCGErrorSuccess;
}

CGRect X11Quartz::CGDisplayBounds(CGDirectDisplayID display) {
    const auto* o = output(display);
    return o ? CGRectMake(o->x, o->y, o->width, o->height) : CGRect{};
}

boolean_t X11Quartz::CGDisplayIsAsleep(CGDirectDisplayID display) {
    // X knows one power state for the whole screen.
    return output(display) && m_sleep->asleep() ? 1 : 0;
}

io_service_t X11Quartz::CGDisplayIOServicePort(CGDirectDisplayID display) {
    // Every online output stands for a service of its own; its id is never 0.
    const auto* o = output(display);
    return o ? o->id : 0;
}

std::uint32_t X11Quartz::CGDisplayModelNumber(CGDirectDisplayID display) {
    const auto* o = output(display);
    return o ? o->model : 0;
}

std::uint32_t X11Quartz::CGDisplayVendorNumber(CGDirectDisplayID display) {
    const auto* o = output(display);
    return o ? o->vendor : 0;
}

CGDisplayModeRef X11Quartz::CGDisplayCopyDisplayMode(CGDirectDisplayID display) {
    const auto* o = output(display);
    if (!o) {
        return nullptr;
    }
    return new X11DisplayMode(o->pixelWidth, o->pixelHeight, o->refreshRate);
}

double X11Quartz::CGDisplayModeGetRefreshRate(CGDisplayModeRef mode) {
    return mode ? static_cast<X11DisplayMode*>(mode)->refreshRate : 0.0;
}

std::size_t X11Quartz::CGDisplayModeGetPixelWidth(CGDisplayModeRef mode) {
    return mode ? static_cast<X11DisplayMode*>(mode)->width : 0;
}

std::size_t X11Quartz::CGDisplayModeGetPixelHeight(CGDisplayModeRef mode) {
    return mode ? static_cast<X11DisplayMode*>(mode)->height : 0;
}

void X11Quartz::CGDisplayModeRelease(CGDisplayModeRef mode) {
    if (mode) {
        mode->release();
    }
}

template <typename Callback>
CGError X11Quartz::add(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo) {
    const bool known = std::any_of(list.begin(), list.end(), [&](const auto& r) {
        return r.callback == callback && r.userInfo == userInfo;
    });
    if (!callback || known) {
        return kCGErrorIllegalArgument;
    }
    list.push_back({callback, userInfo});
    return kCGErrorSuccess;
}

template <typename Callback>
bool X11Quartz::remove(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo) {
    return std::erase_if(list, [&](const auto& r) {
               return r.callback == callback && r.userInfo == userInfo;
           }) > 0;
}

CGError X11Quartz::CGDisplayRegisterReconfigurationCallback(
    CGDisplayReconfigurationCallBack callback, void* userInfo) {
    if (!usable()) {
        return kCGErrorFailure;
    }
    return add(m_reconfiguration, callback, userInfo);
}

CGError X11Quartz::CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback,
                                                          void* userInfo) {
    return remove(m_reconfiguration, callback, userInfo) ? kCGErrorSuccess
                                                         : kCGErrorIllegalArgument;
}

CGError X11Quartz::CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                                   void* userInfo) {
    if (!usable()) {
        return kCGErrorFailure;
    }
    const CGError error = add(m_refresh, callback, userInfo);
    updateDamageTracking();
    return error;
}

void X11Quartz::CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                                  void* userInfo) {
    remove(m_refresh, callback, userInfo);
    updateDamageTracking();
}

CGError X11Quartz::CGScreenRegisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                                void* userInfo) {
    // X has no move event: the callback is kept for its unregistration and never called.
    if (!usable()) {
        return kCGErrorFailure;
    }
    return add(m_move, callback, userInfo);
}

void X11Quartz::CGScreenUnregisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                               void* userInfo) {
    remove(m_move, callback, userInfo);
}

Value X11Quartz::CGSessionCopyCurrentDictionary() {
    return m_sessionSource ? m_sessionSource() : Value();
}

// Display streams are the capture backend's; this port offers none.
CGDisplayStreamRef X11Quartz::CGDisplayStreamCreateWithDispatchQueue(
    CGDirectDisplayID, std::size_t, std::size_t, std::int32_t, const Value&, dispatch_queue_t,
    CGDisplayStreamFrameAvailableHandler) {
    return nullptr;
}

CGError X11Quartz::CGDisplayStreamStart(CGDisplayStreamRef) {
    return kCGErrorInvalidOperation;
}

CGError X11Quartz::CGDisplayStreamStop(CGDisplayStreamRef) {
    return kCGErrorInvalidOperation;
}

const CGRect* X11Quartz::CGDisplayStreamUpdateGetRects(CGDisplayStreamUpdateRef,
                                                       CGDisplayStreamUpdateRectType,
                                                       std::size_t* rectCount) {
    *rectCount = 0;
    return nullptr;
}

CGDisplayStreamUpdateRef X11Quartz::CGDisplayStreamUpdateCreateMergedUpdate(
    CGDisplayStreamUpdateRef, CGDisplayStreamUpdateRef) {
    return nullptr;
}

}  // namespace qn::platform::x11
