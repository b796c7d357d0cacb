#pragma once
// The driver's side of display streams, as a Manager has it: serves the endpoint
// "QuintorParent<N>" for each index asked for, reads every frame the agent announces
// only through the descriptor and address it was handed, gives each frame back after a
// delay, can write frames as PNG, and starts and stops streams.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <systemd/sd-bus.h>

#include "platform/Registration.h"
#include "platform/Value.h"
#include "platform/linux/driver/DriverEndpointServer.h"
#include "platform/linux/event/EventLoop.h"
#include "tools/qnmanager/Transcript.h"

namespace qn::tools::qnmanager {

class FrameReceiver {
  public:
    struct Settings {
        std::string directory;
        std::vector<std::uint32_t> indices;
        // Each frame goes back this long after it came; -1: only when an endpoint is
        // served, at once.
        int releaseDelayMs = -1;
        // Every frame as "<dir>/frame-<display>-<n>.png".
        std::string pngDirectory;
        // The last frame received, written at the end (and by the "png" command).
        std::string pngLast;
        // Start a stream for every display reported with a served index.
        bool autoStream = false;
    };
    // The bus to post on; null while the stand-in is off the bus.
    using BusSource = std::function<sd_bus*()>;

    FrameReceiver(platform::linux_host::EventLoop& loop, Transcript& transcript, BusSource bus,
                  Settings settings);
    ~FrameReceiver();
    FrameReceiver(const FrameReceiver&) = delete;
    FrameReceiver& operator=(const FrameReceiver&) = delete;

    // Binds the endpoints; throws std::system_error when one cannot be bound.
    void open();
    bool serving() const { return !m_endpoints.empty(); }

    // Told of every call once it has been answered.
    void onCall(const std::string& selector, const std::vector<platform::Value>& arguments);

    bool startStream(std::uint32_t display, std::uint32_t index, std::uint64_t token);
    bool stopStream(std::uint32_t display);
    // Writes the last frame received as PNG; false when there is none or it cannot be
    // written.
    bool writeLastFrame(const std::string& file);
    const std::string& lastFrameFile() const { return m_settings.pngLast; }

  private:
    struct Endpoint {
        std::unique_ptr<platform::linux_host::DriverEndpointServer> server;
        platform::Registration listening;
        std::map<int, platform::Registration> clients;
    };
    struct LastFrame {
        std::uint32_t display = 0;
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        std::vector<std::uint8_t> pixels;
    };

    void accept(Endpoint& endpoint);
    void serve(Endpoint& endpoint, int fd);
    void frameAvailable(std::uint32_t display, std::uint64_t address, std::uint32_t stride);
    void release(std::uint32_t display, std::uint64_t address);
    bool post(const std::string& name, const platform::Value& userInfo);

    platform::linux_host::EventLoop& m_loop;
    Transcript& m_transcript;
    BusSource m_bus;
    Settings m_settings;
    std::vector<std::unique_ptr<Endpoint>> m_endpoints;
    // Streams this stand-in started, by display.
    std::map<std::uint32_t, std::uint64_t> m_streams;
    std::uint64_t m_nextToken = 1;
    std::uint64_t m_framesWritten = 0;
    LastFrame m_last;
    std::map<std::uint64_t, platform::Registration> m_releases;
    std::uint64_t m_nextRelease = 0;
};

// Writes 32-bit pixels (blue, green, red, unused) as an RGB PNG; false on failure.
bool writePng(const std::string& file, const std::uint8_t* pixels, std::uint32_t width,
              std::uint32_t height, std::size_t stride);

}  // namespace qn::tools::qnmanager
