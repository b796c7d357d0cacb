#include "platform/sim/SimStreamingManager.h"

#include <cstdio>
#include <cstring>

#include "platform/ManagerProtocol.h"
#include "platform/sim/SimPng.h"
#include "platform/sim/SimScreen.h"

namespace qn::platform::sim {

namespace {

constexpr const char* kFrameAvailable =
    "frameAvailable:andRect:andFrameSurfaceAddr:andByteStride:andToken:";
constexpr const char* kRectRefreshed = "onRectRefreshed:onDisplayID:";

CGRect rectOf(const Value& value) {
    const auto& a = value.arrayValue();
    if (a.size() != 4) {
        return CGRectNull;
    }
    return CGRectMake(a[0].doubleValue(), a[1].doubleValue(), a[2].doubleValue(),
                      a[3].doubleValue());
}

Value number(std::int64_t value) {
    return Value::number(value);
}

std::string hex(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

}  // namespace

SimStreamingManager::SimStreamingManager(SimHost& host, SimWorld& world)
    : m_host(host), m_world(world) {
    m_host.manager().addCallHandler([this](const SimManagerEvent& event) { onCall(event); });
}

SimStreamingManager::~SimStreamingManager() {
    m_host.manager().clearCallHandlers();
}

void SimStreamingManager::startStream(CGDirectDisplayID display, std::uint32_t adapter,
                                      std::int32_t token) {
    m_streams[display] = Stream{adapter, token, {}, 0};
    Value info = Value::dictionary();
    info.set(QNM_Notification_Display_Stream_DisplayID, number(display));
    info.set(QNM_Notification_Display_Stream_FrameBufferIndex, number(adapter));
    info.set(QNM_Notification_Display_Stream_Token, number(token));
    m_host.manager().post(QNM_Notification_Start_Display_Stream, info);
}

void SimStreamingManager::stopStream(CGDirectDisplayID display) {
    m_streams.erase(display);
    Value info = Value::dictionary();
    info.set(QNM_Notification_Display_Stream_DisplayID, number(display));
    m_host.manager().post(QNM_Notification_Stop_Display_Stream, info);
}

bool SimStreamingManager::releaseLastFrame(CGDirectDisplayID display) {
    const auto held = m_held.find(display);
    if (held == m_held.end()) {
        return false;
    }
    release(display, held->second);
    return true;
}

void SimStreamingManager::release(CGDirectDisplayID display, std::uint64_t address) {
    const auto found = m_streams.find(display);
    if (found != m_streams.end() && found->second.outstanding == address) {
        found->second.outstanding = 0;
    }
    const auto held = m_held.find(display);
    if (held != m_held.end() && held->second == address) {
        m_held.erase(held);
    }
    ++m_releases;
    Value info = Value::dictionary();
    info.set(QNM_Notification_Display_Stream_DisplayID, number(display));
    info.set(QNM_Notification_Display_Stream_FrameSurfaceAddr,
             number(static_cast<std::int64_t>(address)));
    m_host.manager().post(QNM_Notification_Release_Frame_Surface, info);
}

void SimStreamingManager::restart() {
    // The old process's releases still to come die with it.
    ++m_generation;
    ++m_restarts;
    for (const auto& [display, address] : m_held) {
        m_abandoned.push_back(address);
    }
    m_held.clear();
    m_afterHello = std::move(m_streams);
    m_streams.clear();
    m_host.manager().die(SimManager::DeathNotice::Connection);
    m_host.manager().comeBack();
}

void SimStreamingManager::onCall(const SimManagerEvent& event) {
    if (event.name == "started:withSessionType:" && !m_afterHello.empty()) {
        // The new process knows which adapters it streamed but not by whom: it stops
        // every stream and starts it again, for the agent that has just come.
        const auto streams = std::move(m_afterHello);
        m_afterHello.clear();
        for (const auto& [display, stream] : streams) {
            stopStream(display);
            startStream(display, stream.adapter, stream.token);
        }
        return;
    }
    if (event.name == kRectRefreshed && event.arguments.size() == 2) {
        const auto display = event.arguments[1].unsignedIntValue();
        const auto found = m_streams.find(display);
        if (found != m_streams.end()) {
            found->second.refreshed.push_back(rectOf(event.arguments[0]));
        }
    } else if (event.name == kFrameAvailable && event.arguments.size() == 5) {
        frameAvailable(event);
    }
}

void SimStreamingManager::frameAvailable(const SimManagerEvent& event) {
    Frame frame;
    frame.display = event.arguments[0].unsignedIntValue();
    frame.rect = rectOf(event.arguments[1]);
    frame.address = static_cast<std::uint64_t>(event.arguments[2].longLongValue());
    frame.bytesPerRow = event.arguments[3].unsignedIntValue();
    frame.token = static_cast<std::uint64_t>(event.arguments[4].longLongValue());
    frame.generation = m_restarts;
    const auto found = m_streams.find(frame.display);
    if (found == m_streams.end()) {
        m_problems.push_back("frame of display " + hex(frame.display) + ", which is not streamed");
        m_frames.push_back(std::move(frame));
        return;
    }
    auto& stream = found->second;
    if (frame.token != static_cast<std::uint64_t>(static_cast<std::int64_t>(stream.token))) {
        m_problems.push_back("frame of display " + hex(frame.display) + " with token " +
                             std::to_string(static_cast<std::int64_t>(frame.token)));
    }
    if (stream.outstanding != 0) {
        m_problems.push_back("second frame of display " + hex(frame.display) +
                             " before the first was released");
    }
    frame.refreshed = std::move(stream.refreshed);
    stream.refreshed.clear();
    stream.outstanding = frame.address;
    m_held[frame.display] = frame.address;
    read(frame, stream);
    m_frames.push_back(std::move(frame));

    const auto& kept = m_frames.back();
    if (!m_options.pngDirectory.empty() && !kept.pixels.empty()) {
        writePng(m_options.pngDirectory + "/display-" + hex(kept.display) + "-frame-" +
                     std::to_string(kept.frameNumber) + ".png",
                 kept.pixels.data(), kept.width, kept.height);
    }
    if (m_options.releaseDelay < 0) {
        return;
    }
    const auto generation = m_generation;
    const auto display = kept.display;
    const auto address = kept.address;
    auto& runLoop = m_host.runLoop();
    runLoop.scheduleWorld(runLoop.now() + static_cast<SimRunLoop::Nanoseconds>(
                                              m_options.releaseDelay * SimRunLoop::kSecond),
                          [this, generation, display, address] {
                              if (generation == m_generation) {
                                  release(display, address);
                              }
                          });
}

void SimStreamingManager::read(Frame& frame, const Stream& stream) {
    const auto* display = m_host.quartz().display(frame.display);
    auto* driver = m_world.driver(stream.adapter);
    if (!display || !driver || display->pixelWidth == 0 || display->pixelHeight == 0) {
        m_problems.push_back("frame of display " + hex(frame.display) + " without its adapter");
        return;
    }
    const std::size_t width = display->pixelWidth;
    const std::size_t height = display->pixelHeight;
    const std::size_t span = frame.bytesPerRow * (height - 1) + width * 4;
    const std::uint8_t* memory =
        frame.bytesPerRow >= width * 4 ? driver->reach(frame.address, span) : nullptr;
    if (!memory) {
        m_problems.push_back("frame of display " + hex(frame.display) +
                             " at memory the driver does not know");
        return;
    }
    std::vector<std::uint8_t> pixels(width * height * 4);
    for (std::size_t y = 0; y < height; ++y) {
        std::memcpy(pixels.data() + y * width * 4, memory + y * frame.bytesPerRow, width * 4);
    }
    frame.frameNumber = screenFrameNumber(pixels.data());
    if (const auto* painting = m_host.quartz().lastPaintingAt(frame.address)) {
        frame.paintedDisplay = painting->display;
        frame.paintedFrame = painting->frameNumber;
        frame.surfaceInUse = painting->surface->useCount() > 0;
    }
    frame.width = width;
    frame.height = height;
    const bool keep = !m_options.pngDirectory.empty() ||
                      (m_options.keepEvery > 0 && (m_frames.size() + 1) % m_options.keepEvery == 0);
    if (keep) {
        frame.pixels = std::move(pixels);
    }
}

}  // namespace qn::platform::sim
