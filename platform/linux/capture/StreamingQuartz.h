#pragma once
// The Quartz port with display streams: every display fact and callback comes from the
// backend it wraps (X11Quartz), the stream operations go to X11DisplayStreams over an X
// connection of their own. The stream driver and its log object are made at the first
// stream: the host is built before the agent's logger starts, and a log object made
// earlier would start a logger of its own.

#include <functional>
#include <memory>
#include <optional>

#include "platform/Quartz.h"
#include "platform/linux/capture/X11DisplayStreams.h"
#include "sys/libutils/Logger.h"

namespace qn::platform::linux_host {

class SurfaceRegistry;

class StreamingQuartz final : public Quartz {
  public:
    // Makes the stream driver; null when there is none to be had.
    using StreamsFactory = std::function<std::unique_ptr<X11DisplayStreams>(
        SurfaceRegistry&, const sys::Logger::Logged&, X11DisplayStreams::DisplayLookup)>;

    // `displays` and `registry` outlive this object. `started` is told once the stream
    // driver exists, so that its owner can watch it.
    StreamingQuartz(Quartz& displays, SurfaceRegistry& registry, StreamsFactory makeStreams,
                    std::function<void(X11DisplayStreams&)> started);
    ~StreamingQuartz() override;
    StreamingQuartz(const StreamingQuartz&) = delete;
    StreamingQuartz& operator=(const StreamingQuartz&) = delete;

    // The stream driver, null before the first stream.
    X11DisplayStreams* streams() { return m_streams.get(); }

    // Where a display lies and its rate, from a Quartz port's own answers.
    static std::optional<DisplayArea> areaOf(Quartz& displays, CGDirectDisplayID display);

    CGDirectDisplayID CGMainDisplayID() override { return m_displays.CGMainDisplayID(); }
    CGError CGGetOnlineDisplayList(std::uint32_t maxDisplays, CGDirectDisplayID* onlineDisplays,
                                   std::uint32_t* displayCount) override {
        return m_displays.CGGetOnlineDisplayList(maxDisplays, onlineDisplays, displayCount);
    }
    CGError CGGetActiveDisplayList(std::uint32_t maxDisplays, CGDirectDisplayID* activeDisplays,
                                   std::uint32_t* displayCount) override {
        return m_displays.CGGetActiveDisplayList(maxDisplays, activeDisplays, displayCount);
    }
    CGRect CGDisplayBounds(CGDirectDisplayID display) override {
        return m_displays.CGDisplayBounds(display);
    }
    boolean_t CGDisplayIsAsleep(CGDirectDisplayID display) override {
        return m_displays.CGDisplayIsAsleep(display);
    }
    io_service_t CGDisplayIOServicePort(CGDirectDisplayID display) override {
        return m_displays.CGDisplayIOServicePort(display);
    }
    std::uint32_t CGDisplayModelNumber(CGDirectDisplayID display) override {
        return m_displays.CGDisplayModelNumber(display);
    }
    std::uint32_t CGDisplayVendorNumber(CGDirectDisplayID display) override {
        return m_displays.CGDisplayVendorNumber(display);
    }
    CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display) override {
        return m_displays.CGDisplayCopyDisplayMode(display);
    }
    double CGDisplayModeGetRefreshRate(CGDisplayModeRef mode) override {
        return m_displays.CGDisplayModeGetRefreshRate(mode);
    }
    std::size_t CGDisplayModeGetPixelWidth(CGDisplayModeRef mode) override {
        return m_displays.CGDisplayModeGetPixelWidth(mode);
    }
    std::size_t CGDisplayModeGetPixelHeight(CGDisplayModeRef mode) override {
        return m_displays.CGDisplayModeGetPixelHeight(mode);
    }
    void CGDisplayModeRelease(CGDisplayModeRef mode) override {
        m_displays.CGDisplayModeRelease(mode);
    }
    CGError CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback,
                                                     void* userInfo) override {
        return m_displays.CGDisplayRegisterReconfigurationCallback(callback, userInfo);
    }
    CGError CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback,
                                                   void* userInfo) override {
        return m_displays.CGDisplayRemoveReconfigurationCallback(callback, userInfo);
    }
    CGError CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                            void* userInfo) override {
        return m_displays.CGRegisterScreenRefreshCallback(callback, userInfo);
    }
    void CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback,
                                           void* userInfo) override {
        m_displays.CGUnregisterScreenRefreshCallback(callback, userInfo);
    }
    CGError CGScreenRegisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                         void* userInfo) override {
        return m_displays.CGScreenRegisterMoveCallback(callback, userInfo);
    }
    void CGScreenUnregisterMoveCallback(CGScreenUpdateMoveCallback callback,
                                        void* userInfo) override {
        m_displays.CGScreenUnregisterMoveCallback(callback, userInfo);
    }
    Value CGSessionCopyCurrentDictionary() override {
        return m_displays.CGSessionCopyCurrentDictionary();
    }

    CGDisplayStreamRef CGDisplayStreamCreateWithDispatchQueue(
        CGDirectDisplayID display, std::size_t outputWidth, std::size_t outputHeight,
        std::int32_t pixelFormat, const Value& properties, dispatch_queue_t queue,
        CGDisplayStreamFrameAvailableHandler handler) override;
    CGError CGDisplayStreamStart(CGDisplayStreamRef stream) override;
    CGError CGDisplayStreamStop(CGDisplayStreamRef stream) override;
    const CGRect* CGDisplayStreamUpdateGetRects(CGDisplayStreamUpdateRef update,
                                                CGDisplayStreamUpdateRectType rectType,
                                                std::size_t* rectCount) override {
        return X11DisplayStreams::CGDisplayStreamUpdateGetRects(update, rectType, rectCount);
    }
    CGDisplayStreamUpdateRef CGDisplayStreamUpdateCreateMergedUpdate(
        CGDisplayStreamUpdateRef firstUpdate, CGDisplayStreamUpdateRef secondUpdate) override {
        return X11DisplayStreams::CGDisplayStreamUpdateCreateMergedUpdate(firstUpdate,
                                                                          secondUpdate);
    }

  private:
    static void onReconfiguration(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags,
                                  void* userInfo);
    X11DisplayStreams* streamDriver();

    Quartz& m_displays;
    SurfaceRegistry& m_registry;
    StreamsFactory m_makeStreams;
    std::function<void(X11DisplayStreams&)> m_started;
    bool m_tried = false;
    bool m_watchingDisplays = false;
    // The log object before the streams that log through it.
    std::unique_ptr<sys::Logger::Logged> m_log;
    std::unique_ptr<X11DisplayStreams> m_streams;
};

}  // namespace qn::platform::linux_host
