#pragma once
// The Manager's side of display streaming on the simulated host. It asks for streams
// with the start notification, reads each frame it is offered through the address it
// was given (reachable only when the adapter's driver has that memory registered), and
// gives the frame back with the release notification after a chosen delay. It can write
// the frames it reads as PNG pictures. A restart ends the Manager's process and starts a
// new one; once an agent has said hello on the new link, the new one stops and starts
// again every stream the old one had, so that the agent makes new updaters on that link.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/Quartz.h"
#include "platform/sim/SimHost.h"
#include "platform/sim/SimWorld.h"

namespace qn::platform::sim {

class SimStreamingManager {
  public:
    struct Options {
        // Seconds from reading a frame to releasing it; below 0: never by itself (a
        // scenario releases with releaseLastFrame).
        double releaseDelay = 0.0;
        // Not empty: every frame read is written there as a PNG picture.
        std::string pngDirectory;
        // Above 0: the pixels of every n-th frame read are kept for inspection.
        std::size_t keepEvery = 0;
    };

    struct Frame {
        CGDirectDisplayID display = 0;
        std::uint64_t address = 0;
        std::uint32_t bytesPerRow = 0;
        CGRect rect;
        std::uint64_t token = 0;
        // Rectangles refreshed on this display since the previous frame.
        std::vector<CGRect> refreshed;
        // The number carried by the pixels read; 0 when the memory was out of reach.
        std::uint32_t frameNumber = 0;
        // The host's own record of the surface read, looked up at the read and kept apart
        // from the pixels: the display and frame it last painted there (0 for none), and
        // whether the surface was in use, as a frame with the Manager must be.
        CGDirectDisplayID paintedDisplay = 0;
        std::uint32_t paintedFrame = 0;
        bool surfaceInUse = false;
        std::size_t width = 0;
        std::size_t height = 0;
        // How many restarts came before the frame.
        std::size_t generation = 0;
        // Tightly packed BGRA rows, for the frames kept.
        std::vector<std::uint8_t> pixels;
    };

    SimStreamingManager(SimHost& host, SimWorld& world);
    ~SimStreamingManager();
    SimStreamingManager(const SimStreamingManager&) = delete;
    SimStreamingManager& operator=(const SimStreamingManager&) = delete;

    void setOptions(Options options) { m_options = std::move(options); }
    const Options& options() const { return m_options; }

    void startStream(CGDirectDisplayID display, std::uint32_t adapter, std::int32_t token);
    void stopStream(CGDirectDisplayID display);
    // Releases the last frame read for the display now, also after its stream was
    // stopped; false when none is held.
    bool releaseLastFrame(CGDirectDisplayID display);
    void restart();

    const std::vector<Frame>& frames() const { return m_frames; }
    // What went against the protocol (a frame of a display not streamed, a wrong token,
    // memory the driver does not know), in order.
    const std::vector<std::string>& problems() const { return m_problems; }
    std::size_t restarts() const { return m_restarts; }
    // Frames the Manager held when it restarted: the old process never gave them back.
    const std::vector<std::uint64_t>& abandoned() const { return m_abandoned; }
    // Releases posted so far.
    std::size_t releases() const { return m_releases; }

  private:
    struct Stream {
        std::uint32_t adapter = 0;
        std::int32_t token = 0;
        std::vector<CGRect> refreshed;
        // The address of the frame read and not yet released, 0 for none.
        std::uint64_t outstanding = 0;
    };

    void onCall(const SimManagerEvent& event);
    void frameAvailable(const SimManagerEvent& event);
    void read(Frame& frame, const Stream& stream);
    void release(CGDirectDisplayID display, std::uint64_t address);

    SimHost& m_host;
    SimWorld& m_world;
    Options m_options;
    std::map<CGDirectDisplayID, Stream> m_streams;
    // The last frame read and not yet released, per display, streamed or not.
    std::map<CGDirectDisplayID, std::uint64_t> m_held;
    std::vector<Frame> m_frames;
    std::vector<std::string> m_problems;
    std::uint64_t m_generation = 0;
    std::size_t m_restarts = 0;
    std::vector<std::uint64_t> m_abandoned;
    // Streams to start again at the next hello.
    std::map<CGDirectDisplayID, Stream> m_afterHello;
    std::size_t m_releases = 0;
};

}  // namespace qn::platform::sim
