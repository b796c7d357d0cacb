#pragma once
// The display stream operations of the Quartz port on X, and what drives them. The Linux
// Quartz backend forwards its CGDisplayStream* calls here; the main loop watches fd()
// and calls dispatch() when it is readable and at nextDeadline().
//
// Frames are delivered from dispatch(), that is on the main loop's thread, which is
// where the logic's main queue runs; the queue argument is therefore not looked at.

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "platform/Quartz.h"
#include "platform/linux/capture/X11DisplayStream.h"
#include "platform/linux/capture/XcbOwners.h"
#include "sys/libutils/Logger.h"

namespace qn::platform::linux_host {

class SurfaceRegistry;

class X11DisplayStreams {
  public:
    // Where a display lies on the root window; empty for a display that is not there.
    using DisplayLookup = std::function<std::optional<DisplayArea>(CGDirectDisplayID)>;

    X11DisplayStreams(XcbConnection connection, SurfaceRegistry& registry,
                      const sys::Logger::Logged& log, DisplayLookup lookup,
                      X11DisplayStream::Settings settings = {});
    X11DisplayStreams(const X11DisplayStreams&) = delete;
    X11DisplayStreams& operator=(const X11DisplayStreams&) = delete;
    // Streams still running are shut down without a stopped status.
    ~X11DisplayStreams();

    // Null when the display is unknown, the size is not the display's, or the pixel
    // format is not 'BGRA'.
    CGDisplayStreamRef CGDisplayStreamCreateWithDispatchQueue(
        CGDirectDisplayID display, std::size_t outputWidth, std::size_t outputHeight,
        std::int32_t pixelFormat, const Value& properties, dispatch_queue_t queue,
        CGDisplayStreamFrameAvailableHandler handler);
    CGError CGDisplayStreamStart(CGDisplayStreamRef stream);
    CGError CGDisplayStreamStop(CGDisplayStreamRef stream);
    static const CGRect* CGDisplayStreamUpdateGetRects(CGDisplayStreamUpdateRef update,
                                                       CGDisplayStreamUpdateRectType rectType,
                                                       std::size_t* rectCount);
    static CGDisplayStreamUpdateRef CGDisplayStreamUpdateCreateMergedUpdate(
        CGDisplayStreamUpdateRef firstUpdate, CGDisplayStreamUpdateRef secondUpdate);

    // Asks the lookup again for every stream's display, after a reconfiguration; a stream
    // whose display has gone keeps its last area until it is stopped.
    void displaysChanged();

    // The X connection's descriptor, to watch for input.
    int fd() const;
    // Reads what X has sent (on a connection of our own) and lets every stream do what
    // is due.
    void dispatch();
    // Whether xcb already holds events it read while waiting for a reply, which the
    // descriptor will not announce; they are dropped here, and true means dispatch() is
    // due (a damage notification left unread would be the last of its stream).
    bool drainQueuedEvents();
    std::optional<X11DisplayStream::Clock::time_point> nextDeadline() const;
    std::size_t activeStreams() const { return m_streams.size(); }

  private:
    XcbConnection m_connection;
    xcb_window_t m_root = 0;
    bool m_thirtyTwoBitPixels = false;
    SurfaceRegistry& m_registry;
    const sys::Logger::Logged& m_log;
    DisplayLookup m_lookup;
    X11DisplayStream::Settings m_settings;
    // One reference each, dropped once the stopped status is out.
    std::vector<X11DisplayStream*> m_streams;
};

// The 'BGRA' pixel format code.
inline constexpr std::int32_t kPixelFormatBGRA = 0x42475241;

}  // namespace qn::platform::linux_host
