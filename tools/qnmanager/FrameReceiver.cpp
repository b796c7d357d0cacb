#include "tools/qnmanager/FrameReceiver.h"

#include <sys/epoll.h>

#include <cairo.h>

#include <algorithm>
#include <cstring>

#include "platform/ManagerProtocol.h"
#include "platform/linux/driver/DriverDirectory.h"
#include "tools/qnmanager/Notifier.h"
#include "tools/transcript/TranscriptLines.h"

namespace qn::tools::qnmanager {

using platform::Value;
using platform::linux_host::DriverEndpointServer;
using platform::linux_host::EventLoop;

namespace {

constexpr const char* kFrameAvailable =
    "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:";
constexpr const char* kOnDisplay =
    "onDisplay:reconfigurationWithFlags:andBounds:andFramebufferIndex:andRefreshRate:";
constexpr const char* kStarted = "started:withSessionType:";
constexpr std::uint32_t kAddFlag = 1u << 4;
constexpr std::uint32_t kRemoveFlag = 1u << 5;

Value number(std::uint64_t n) {
    return Value::number(static_cast<std::int64_t>(n));
}

}  // namespace

bool writePng(const std::string& file, const std::uint8_t* pixels, std::uint32_t width,
              std::uint32_t height, std::size_t stride) {
    if (pixels == nullptr || width == 0 || height == 0 ||
        stride < static_cast<std::size_t>(
                     cairo_format_stride_for_width(CAIRO_FORMAT_RGB24, static_cast<int>(width)))) {
        return false;
    }
    // Cairo's 24-bit format is the frame's own layout; writing a PNG only reads the pixels.
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        const_cast<unsigned char*>(pixels), CAIRO_FORMAT_RGB24, static_cast<int>(width),
        static_cast<int>(height), static_cast<int>(stride));
    const bool written = cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS &&
                         cairo_surface_write_to_png(surface, file.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(surface);
    return written;
}

FrameReceiver::FrameReceiver(EventLoop& loop, Transcript& transcript, BusSource bus,
                             Settings settings)
    : m_loop(loop),
      m_transcript(transcript),
      m_bus(std::move(bus)),
      m_settings(std::move(settings)) {
    if (m_settings.directory.empty()) {
        m_settings.directory = platform::linux_host::DriverDirectory::builtIn();
    }
}

FrameReceiver::~FrameReceiver() {
    // Releases due later are never posted; the client sources go before their servers.
    m_releases.clear();
    for (auto& endpoint : m_endpoints) {
        endpoint->clients.clear();
        endpoint->listening.reset();
    }
}

void FrameReceiver::open() {
    for (const std::uint32_t index : m_settings.indices) {
        auto endpoint = std::make_unique<Endpoint>();
        endpoint->server = std::make_unique<DriverEndpointServer>(m_settings.directory, index);
        Endpoint* e = endpoint.get();
        endpoint->listening = m_loop.addIo(endpoint->server->listenFd(), EPOLLIN, "driver-endpoint",
                                           [this, e](std::uint32_t) { accept(*e); });
        m_transcript.write({{"driver", "listening"}, {"path", endpoint->server->path()}});
        m_endpoints.push_back(std::move(endpoint));
    }
}

void FrameReceiver::accept(Endpoint& endpoint) {
    endpoint.server->onListenReadable();
    for (const int fd : endpoint.server->clientFds()) {
        if (endpoint.clients.count(fd) == 0) {
            endpoint.clients[fd] =
                m_loop.addIo(fd, EPOLLIN, "driver-client",
                             [this, &endpoint, fd](std::uint32_t) { serve(endpoint, fd); });
            m_transcript.write({{"driver", "connected"}, {"path", endpoint.server->path()}});
        }
    }
}

void FrameReceiver::serve(Endpoint& endpoint, int fd) {
    endpoint.server->onClientReadable(fd);
    const auto live = endpoint.server->clientFds();
    if (std::find(live.begin(), live.end(), fd) == live.end()) {
        // Gone with its mappings; the registration may be dropped from its own handler.
        endpoint.clients.erase(fd);
        m_transcript.write({{"driver", "disconnected"}, {"path", endpoint.server->path()}});
    }
}

void FrameReceiver::onCall(const std::string& selector, const std::vector<Value>& arguments) {
    if (selector == kFrameAvailable && arguments.size() == 5) {
        frameAvailable(arguments[0].unsignedIntValue(),
                       static_cast<std::uint64_t>(arguments[2].longLongValue()),
                       arguments[3].unsignedIntValue());
    } else if (selector == kStarted) {
        // A new agent, or one beginning anew: it has no stream of ours.
        m_streams.clear();
    } else if (selector == kOnDisplay && arguments.size() == 5 && m_settings.autoStream) {
        const std::uint32_t display = arguments[0].unsignedIntValue();
        const std::uint32_t flags = arguments[1].unsignedIntValue();
        const std::uint32_t index = arguments[3].unsignedIntValue();
        const bool served = std::find(m_settings.indices.begin(), m_settings.indices.end(),
                                      index) != m_settings.indices.end();
        if ((flags & kRemoveFlag) != 0) {
            m_streams.erase(display);
        } else if ((flags & kAddFlag) != 0 && served && m_streams.count(display) == 0) {
            // An agent that streamed to a Manager before this one still has that stream,
            // waiting for a release that will never come: it is stopped first, so that the
            // start makes a new one.
            stopStream(display);
            startStream(display, index, m_nextToken++);
        }
    }
}

void FrameReceiver::frameAvailable(std::uint32_t display, std::uint64_t address,
                                   std::uint32_t stride) {
    const DriverEndpointServer::Frame* frame = nullptr;
    for (const auto& endpoint : m_endpoints) {
        if ((frame = endpoint->server->frame(address)) != nullptr) {
            break;
        }
    }
    const bool readable =
        frame != nullptr && frame->prepared && stride >= 4 && frame->size >= stride;
    std::uint32_t width = 0, height = 0;
    if (readable) {
        width = stride / 4;
        height = static_cast<std::uint32_t>(frame->size / stride);
        if (!m_settings.pngLast.empty()) {
            // A copy made before the frame goes back: the surface is rewritten after that.
            m_last.display = display;
            m_last.width = width;
            m_last.height = height;
            m_last.pixels.assign(frame->data, frame->data + std::size_t{stride} * height);
        }
        if (!m_settings.pngDirectory.empty()) {
            writePng(m_settings.pngDirectory + "/frame-" + std::to_string(display) + "-" +
                         std::to_string(++m_framesWritten) + ".png",
                     frame->data, width, height, stride);
        }
    }
    m_transcript.write({{"frame", display},
                        {"surface", address},
                        {"read", readable},
                        {"width", width},
                        {"height", height}});
    if (!serving() && m_settings.releaseDelayMs < 0) {
        return;
    }
    const std::uint64_t id = m_nextRelease++;
    m_releases[id] = m_loop.addTimer(
        EventLoop::now() +
            static_cast<std::uint64_t>(std::max(m_settings.releaseDelayMs, 0)) * 1000,
        "release-frame", [this, id, display, address]() -> std::uint64_t {
            release(display, address);
            m_releases.erase(id);
            return 0;
        });
}

void FrameReceiver::release(std::uint32_t display, std::uint64_t address) {
    auto userInfo = Value::dictionary();
    userInfo.set(platform::QNM_Notification_Display_Stream_DisplayID, number(display));
    userInfo.set(platform::QNM_Notification_Display_Stream_FrameSurfaceAddr, number(address));
    post(platform::QNM_Notification_Release_Frame_Surface, userInfo);
}

bool FrameReceiver::startStream(std::uint32_t display, std::uint32_t index, std::uint64_t token) {
    auto userInfo = Value::dictionary();
    userInfo.set(platform::QNM_Notification_Display_Stream_DisplayID, number(display));
    userInfo.set(platform::QNM_Notification_Display_Stream_FrameBufferIndex, number(index));
    userInfo.set(platform::QNM_Notification_Display_Stream_Token, number(token));
    if (!post(platform::QNM_Notification_Start_Display_Stream, userInfo)) {
        return false;
    }
    m_streams[display] = token;
    return true;
}

bool FrameReceiver::stopStream(std::uint32_t display) {
    auto userInfo = Value::dictionary();
    userInfo.set(platform::QNM_Notification_Display_Stream_DisplayID, number(display));
    if (!post(platform::QNM_Notification_Stop_Display_Stream, userInfo)) {
        return false;
    }
    m_streams.erase(display);
    return true;
}

bool FrameReceiver::post(const std::string& name, const Value& userInfo) {
    sd_bus* bus = m_bus ? m_bus() : nullptr;
    if (bus == nullptr || postNotification(bus, name, userInfo) < 0) {
        return false;
    }
    m_transcript.write(transcript::postLine(name, userInfo));
    return true;
}

bool FrameReceiver::writeLastFrame(const std::string& file) {
    if (m_last.pixels.empty()) {
        return false;
    }
    const bool written = writePng(file, m_last.pixels.data(), m_last.width, m_last.height,
                                  std::size_t{m_last.width} * 4);
    m_transcript.write({{"png", file}, {"display", m_last.display}, {"written", written}});
    return written;
}

}  // namespace qn::tools::qnmanager
