#pragma once
// The Quartz port over the X server that DISPLAY names: RandR outputs are the displays,
// their changes become reconfiguration callbacks, damage on the root becomes screen
// refresh callbacks. Driven from the owner's loop through fd() and dispatchPending().

#include <functional>
#include <memory>
#include <vector>

#include "platform/Quartz.h"
#include "platform/System.h"
#include "platform/linux/x11/DisplayOutput.h"

namespace qn::platform::x11 {

// Declared only: users of this port need not see Xlib's macros.
class DamageTracker;
class RandrScreen;
class ScreenSleepState;
class XAtomCache;
class XDisplay;
class XEventHandlerRegistration;

class X11Quartz : public Quartz {
  public:
    // Connects to `displayName` (null: the display DISPLAY names). Without a server every
    // list is empty and CGMainDisplayID gives 0; a connection that breaks later ends the
    // process with status 1 through `system`.
    explicit X11Quartz(System& system, const char* displayName = nullptr);
    ~X11Quartz() override;

    // For the owner's loop: the descriptor to watch for reading (-1 without a server),
    // and one bounded turn of event handling, after which the callbacks of the turn have
    // run. True when events are left for another turn without the descriptor waking.
    int fd() const;
    bool dispatchPending();
    // Whether Xlib already holds events that the descriptor will not announce: events
    // read while waiting for a reply. No I/O; for a check after each loop iteration.
    bool hasQueuedEvents() const;

    bool connected() const { return m_display != nullptr; }
    bool underXwayland() const { return m_xwayland; }
    // The kernel connectors behind the online outputs, for the registry.
    std::vector<std::uint32_t> drivenConnectorIds() const;
    // The session dictionary comes from the session manager, not from X.
    void setSessionDictionarySource(std::function<Value()> source) {
        m_sessionSource = std::move(source);
    }

    CGDirectDisplayID CGMainDisplayID() override;
    CGError CGGetOnlineDisplayList(std::uint32_t maxDisplays, CGDirectDisplayID* onlineDisplays,
                                   std::uint32_t* displayCount) override;
    CGError CGGetActiveDisplayList(std::uint32_t maxDisplays, CGDirectDisplayID* activeDisplays,
                                   std::uint32_t* displayCount) override;
    CGRect CGDisplayBounds(CGDirectDisplayID display) override;
    boolean_t CGDisplayIsAsleep(CGDirectDisplayID display) override;
    io_service_t CGDisplayIOServicePort(CGDirectDisplayID display) override;
    std::uint32_t CGDisplayModelNumber(CGDirectDisplayID display) override;
    std::uint32_t CGDisplayVendorNumber(CGDirectDisplayID display) override;
    CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display) override;
    double CGDisplayModeGetRefreshRate(CGDisplayModeRef mode) override;
    std::size_t CGDisplayModeGetPixelWidth(CGDisplayModeRef mode) override;
    std::size_t CGDisplayModeGetPixelHeight(CGDisplayModeRef mode) override;
    void CGDisplayModeRelease(CGDisplayModeRef mode) override;
    CGError CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback,
                                                     void* userInfo) override;
    CGError CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback,
                                                   void* userInfo) override;
    CGError CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                            void* userInfo) override;
    void CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                           void* userInfo) override;
    CGError CGScreenRegisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                         void* userInfo) override;
    void CGScreenUnregisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                        void* userInfo) override;
    Value CGSessionCopyCurrentDictionary() override;
    CGDisplayStreamRef CGDisplayStreamCreateWithDispatchQueue(
        CGDirectDisplayID display, std::size_t outputWidth, std::size_t outputHeight,
        std::int32_t pixelFormat, const Value& properties, dispatch_queue_t queue,
        CGDisplayStreamFrameAvailableHandler handler) override;
    CGError CGDisplayStreamStart(CGDisplayStreamRef stream) override;
    CGError CGDisplayStreamStop(CGDisplayStreamRef stream) override;
    const CGRect* CGDisplayStreamUpdateGetRects(CGDisplayStreamUpdateRef update,
                                                CGDisplayStreamUpdateRectType rectType,
                                                std::size_t* rectCount) override;
    CGDisplayStreamUpdateRef CGDisplayStreamUpdateCreateMergedUpdate(
        CGDisplayStreamUpdateRef firstUpdate, CGDisplayStreamUpdateRef secondUpdate) override;

  private:
    template <typename Callback>
    struct Registered {
        Callback callback;
        void* userInfo;
    };
    template <typename Callback>
    static CGError add(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo);
    template <typename Callback>
    static bool remove(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo);

    bool usable() const;
    const DisplayOutput* output(CGDirectDisplayID display) const;
    void readOutputs(std::vector<std::string>* allNames = nullptr);
    void reportReconfiguration();
    void reportDamage();
    void updateDamageTracking();

    System& m_system;
    std::unique_ptr<XDisplay> m_display;
    std::unique_ptr<XAtomCache> m_atoms;
    std::unique_ptr<RandrScreen> m_randr;
    std::unique_ptr<ScreenSleepState> m_sleep;
    std::vector<std::unique_ptr<XEventHandlerRegistration>> m_configurationHandlers;
    std::unique_ptr<DamageTracker> m_damage;
    std::unique_ptr<XEventHandlerRegistration> m_damageHandler;
    bool m_xwayland = false;
    bool m_xwaylandWarningDue = false;

    DisplayOutputs m_outputs;
    std::uint32_t m_primary = 0;
    std::uint32_t m_main = 0;
    bool m_configurationChanged = false;
    bool m_damaged = false;

    std::vector<Registered<CGDisplayReconfigurationCallBack>> m_reconfiguration;
    std::vector<Registered<CGScreenRefreshCallback>> m_refresh;
    std::vector<Registered<CGScreenUpdateMoveCallback>> m_move;
    std::function<Value()> m_sessionSource;
};

}  // namespace qn::platform::x11
