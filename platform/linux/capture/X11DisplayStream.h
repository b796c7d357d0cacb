#pragma once
// One display stream on X. It watches the display's area with a damage object of its own
// (the screen refresh callbacks, which the logic gives up while it streams, keep theirs)
// and, whenever damage is pending and a refresh period has passed since the last frame,
// brings a free surface of its pool up to date and hands it to the handler with the
// dirty rectangles since the last frame. A surface whose use count is not 0 is never
// written. After stop() the next tick delivers the stopped status, and nothing follows.
//
// The stream does nothing by itself: its owner calls tick() when the X connection is
// readable and at nextDeadline().

#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <vector>

#include "platform/Quartz.h"
#include "platform/linux/capture/DamageLedger.h"
#include "platform/linux/capture/X11FrameGrabber.h"
#include "platform/linux/surface/SurfacePool.h"
#include "sys/libutils/Logger.h"

namespace qn::platform::linux_host {

class SurfaceRegistry;

// Where a display lies on the root window, and its refresh rate (0 when unknown).
struct DisplayArea {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    double refreshHz = 0;
};

class X11DisplayStream final : public CGDisplayStreamObject {
  public:
    using Clock = std::chrono::steady_clock;

    struct Settings {
        CaptureRung firstRung = CaptureRung::ShmDescriptor;
        // One frame at the Manager, one in reserve, one being written.
        std::size_t surfaces = 3;
    };

    // One reference, owned by the caller. The connection, registry and log object must
    // outlive the stream.
    X11DisplayStream(xcb_connection_t* connection, xcb_window_t root, CGDirectDisplayID display,
                     const DisplayArea& area, SurfaceRegistry& registry,
                     const sys::Logger::Logged& log, CGDisplayStreamFrameAvailableHandler handler,
                     const Settings& settings);
    X11DisplayStream(const X11DisplayStream&) = delete;
    X11DisplayStream& operator=(const X11DisplayStream&) = delete;

    void retain() override { m_retainCount.fetch_add(1); }
    void release() override {
        if (m_retainCount.fetch_sub(1) == 1) {
            delete this;
        }
    }
    long retainCount() const override { return m_retainCount.load(); }

    CGError start();
    CGError stop();
    // The display moved or changed its mode. Another size starts a new pool (frames still
    // held stay valid); either way the next frame shows the whole display.
    void setArea(const DisplayArea& area);
    const DisplayArea& area() const { return m_area; }
    CGDirectDisplayID displayId() const { return m_displayId; }
    void tick(Clock::time_point now);
    // When tick() has work without new X input; empty while it waits for damage.
    std::optional<Clock::time_point> nextDeadline() const;
    // The stopped status has been delivered (or the stream was shut down).
    bool finished() const { return m_state == State::Finished; }
    // For the stream driver going away: gives back the surfaces and every X resource at
    // once, without a stopped status; whoever still holds a reference holds an empty shell.
    void shutDown();

    std::chrono::nanoseconds period() const { return m_period; }
    CaptureRung rung() const { return m_grabber.rung(); }
    const SurfacePool& pool() const { return m_pool; }

  private:
    enum class State { Created, Running, Stopping, Finished };

    ~X11DisplayStream() override;
    void readDamage();
    void makeFrame(Clock::time_point now);
    void dropDamage();

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    const CGDirectDisplayID m_displayId;
    DisplayArea m_area;
    const sys::Logger::Logged& m_log;
    CGDisplayStreamFrameAvailableHandler m_handler;
    const std::chrono::nanoseconds m_period;
    SurfacePool m_pool;
    DamageLedger m_ledger;
    X11FrameGrabber m_grabber;
    xcb_damage_damage_t m_damage = 0;
    xcb_xfixes_region_t m_region = 0;
    State m_state = State::Created;
    // Dirty rectangles since the last frame.
    std::vector<PixelRect> m_dirty;
    std::optional<Clock::time_point> m_lastFrame;
    std::optional<Clock::time_point> m_retryAt;
    std::atomic<long> m_retainCount{1};
};

// The rectangles of `rects` inside a display of the given size, in its own pixels, from
// root-window coordinates.
std::vector<PixelRect> clipToDisplay(const std::vector<PixelRect>& rects, const DisplayArea& area);

}  // namespace qn::platform::linux_host
