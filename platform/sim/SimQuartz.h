#pragma once
// Quartz display services of the simulated world: displays and their modes, the three
// callbacks delivered on the main run loop, the session dictionary and display streams.

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/Quartz.h"
#include "platform/sim/SimDispatch.h"
#include "platform/sim/SimDisplay.h"
#include "platform/sim/SimDisplayMode.h"
#include "platform/sim/SimDisplayStream.h"
#include "platform/sim/SimFaults.h"
#include "platform/sim/SimRunLoop.h"

namespace qn::platform::sim {

class SimQuartz : public Quartz {
  public:
    SimQuartz(SimRunLoop& runLoop, SimDispatch& dispatch, SimFaults& faults);

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
    Value CGSessionCopyCurrentDictionary() override { return m_session; }
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

    // The world. Changes that the host announces arrive as callbacks on the run loop.
    // Without a window server there is no main display and no session.
    void setWindowServer(bool running) { m_windowServer = running; }
    // Adds or replaces a display without any callback (the state before the agent runs).
    void setDisplay(const SimDisplay& display);
    SimDisplay* display(CGDirectDisplayID id);
    const std::vector<SimDisplay>& displays() const { return m_displays; }
    void setMainDisplay(CGDirectDisplayID id) { m_mainDisplay = id; }
    // Plugs a display in: begin, then add + enabled.
    void addDisplay(const SimDisplay& display);
    // Unplugs it: it is gone at once; begin, then remove + disabled.
    void removeDisplay(CGDirectDisplayID id);
    // Gone without any callback.
    void forgetDisplay(CGDirectDisplayID id);
    // A new mode: begin, then set-mode.
    void setMode(CGDirectDisplayID id, std::size_t width, std::size_t height, double refreshRate);
    void setAsleep(CGDirectDisplayID id, bool asleep);
    // The reconfiguration callback with any flags.
    void reconfigure(CGDirectDisplayID id, CGDisplayChangeSummaryFlags flags);
    void refresh(std::vector<CGRect> rects);
    void move(CGScreenUpdateMoveDelta delta, std::vector<CGRect> rects);
    void setSession(Value dictionary) { m_session = std::move(dictionary); }
    // The next registration of the kind fails with the code (0 clears it).
    enum class Registration { Reconfiguration, Refresh, Move };
    void failRegistration(Registration which, CGError code);
    std::size_t registeredCount(Registration which) const;

    // Streams: pushes a frame with its dirty rectangles to every running stream of the
    // display, or another status.
    void deliverFrame(CGDirectDisplayID display, std::vector<CGRect> dirtyRects,
                      CGDisplayStreamFrameStatus status = kCGDisplayStreamFrameStatusFrameComplete);
    const std::vector<std::unique_ptr<SimDisplayStream>>& streams() const { return m_streams; }
    const std::vector<std::unique_ptr<SimStreamUpdate>>& updates() const { return m_updates; }
    const std::vector<std::unique_ptr<SimDisplayMode>>& modes() const { return m_modes; }
    // Told of every change of a stream surface's use or retain count.
    void setSurfaceWatcher(SimSurface::Watcher watcher) { m_surfaceWatcher = std::move(watcher); }
    // What the host painted into a stream surface for each frame it delivered, in order:
    // a record kept apart from the pixels, for checking what a reader of the surface saw.
    struct Painting {
        CGDirectDisplayID display = 0;
        std::uint32_t frameNumber = 0;
        const SimSurface* surface = nullptr;
        std::uint64_t address = 0;
    };
    const std::vector<Painting>& paintings() const { return m_paintings; }
    // The last painting of the surface at the address; null when none was painted there.
    const Painting* lastPaintingAt(std::uint64_t address) const;

  private:
    template <typename Callback>
    struct Registered {
        Callback callback;
        void* userInfo;
    };
    template <typename Callback>
    CGError add(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo,
                CGError& failure);
    template <typename Callback>
    void remove(std::vector<Registered<Callback>>& list, Callback callback, void* userInfo);

    CGError list(std::uint32_t maxDisplays, CGDirectDisplayID* displays,
                 std::uint32_t* displayCount, bool (*wanted)(const SimDisplay&));
    SimStreamUpdate* newUpdate(std::vector<CGRect> rects);
    SimSurface* freeSurface(SimDisplayStream& stream);
    void onQueue(SimDisplayStream& stream, std::function<void()> work);

    SimRunLoop& m_runLoop;
    SimDispatch& m_dispatch;
    SimFaults& m_faults;
    bool m_windowServer = true;
    std::vector<SimDisplay> m_displays;
    CGDirectDisplayID m_mainDisplay = 0;
    Value m_session;
    std::vector<Registered<CGDisplayReconfigurationCallBack>> m_reconfiguration;
    std::vector<Registered<CGScreenRefreshCallback>> m_refresh;
    std::vector<Registered<CGScreenUpdateMoveCallback>> m_move;
    CGError m_reconfigurationFailure = kCGErrorSuccess;
    CGError m_refreshFailure = kCGErrorSuccess;
    CGError m_moveFailure = kCGErrorSuccess;
    std::vector<std::unique_ptr<SimDisplayStream>> m_streams;
    std::vector<std::unique_ptr<SimStreamUpdate>> m_updates;
    std::vector<std::unique_ptr<SimDisplayMode>> m_modes;
    std::uint32_t m_frameNumber = 0;
    std::vector<Painting> m_paintings;
    // Surface address to the index of its last painting.
    std::map<std::uint64_t, std::size_t> m_lastPainting;
    SimSurface::Watcher m_surfaceWatcher;
};

}  // namespace qn::platform::sim
