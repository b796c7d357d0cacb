#pragma once
// Reads rows of the screen into a frame surface, by the best road the server offers:
//   1. SHM by descriptor: the surface's own memfd attached as a segment, so the server
//      writes the pixels straight into the frame (no copy in this process);
//   2. SHM image reads: one SysV segment, copied into the surface;
//   3. plain image reads, copied from the reply.
// A road that fails steps down to the next for good, with one log line per step.

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <map>
#include <vector>

#include "platform/linux/capture/DamageLedger.h"
#include "sys/libutils/Logger.h"

namespace qn::platform::linux_host {

class MemfdSurface;

enum class CaptureRung { ShmDescriptor = 0, ShmImage = 1, Plain = 2, Exhausted = 3 };

class X11FrameGrabber {
  public:
    // `first` is the best road to try; tests start lower to cover the others.
    X11FrameGrabber(xcb_connection_t* connection, xcb_window_t root, const sys::Logger::Logged& log,
                    CaptureRung first);
    X11FrameGrabber(const X11FrameGrabber&) = delete;
    X11FrameGrabber& operator=(const X11FrameGrabber&) = delete;
    ~X11FrameGrabber();

    // Writes rows `bands` of the area at (x, y) of the surface's width into the surface.
    // False only when no road is left.
    bool grab(MemfdSurface& surface, std::int32_t x, std::int32_t y,
              const std::vector<RowBand>& bands);
    // Detaches the segments of surfaces that have left the pool.
    void forgetSurfaces();
    // Gives back every X resource; afterwards the connection is not touched again.
    void shutDown();
    CaptureRung rung() const { return m_rung; }

  private:
    bool grabByDescriptor(MemfdSurface& surface, std::int32_t x, std::int32_t y,
                          const std::vector<RowBand>& bands);
    bool grabByShmImage(MemfdSurface& surface, std::int32_t x, std::int32_t y,
                        const std::vector<RowBand>& bands);
    bool grabPlain(MemfdSurface& surface, std::int32_t x, std::int32_t y,
                   const std::vector<RowBand>& bands);
    void stepDown(CaptureRung to);
    bool shmVersionAtLeast(int major, int minor);
    void dropSysvSegment();

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    const sys::Logger::Logged& m_log;
    CaptureRung m_rung = CaptureRung::Exhausted;
    // Surface serial -> its attached segment.
    std::map<std::uint64_t, xcb_shm_seg_t> m_segments;
    // The SysV road's one segment.
    xcb_shm_seg_t m_sysvSegment = 0;
    std::uint8_t* m_sysvMemory = nullptr;
    std::size_t m_sysvSize = 0;
};

}  // namespace qn::platform::linux_host
