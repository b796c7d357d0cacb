#include "platform/linux/capture/StreamingQuartz.h"

namespace qn::platform::linux_host {

namespace {

struct StreamLog : sys::Logger::Logged {
    StreamLog() : sys::Identity("X11DisplayStreams", "") {}
};

}  // namespace

StreamingQuartz::StreamingQuartz(Quartz& displays, SurfaceRegistry& registry,
                                 StreamsFactory makeStreams,
                                 std::function<void(X11DisplayStreams&)> started)
    : m_displays(displays),
      m_registry(registry),
      m_makeStreams(std::move(makeStreams)),
      m_started(std::move(started)) {}

StreamingQuartz::~StreamingQuartz() {
    if (m_watchingDisplays) {
        m_displays.CGDisplayRemoveReconfigurationCallback(&onReconfiguration, this);
    }
}

std::optional<DisplayArea> StreamingQuartz::areaOf(Quartz& displays, CGDirectDisplayID display) {
    const CGRect bounds = displays.CGDisplayBounds(display);
    if (bounds.size.width <= 0 || bounds.size.height <= 0) {
        return std::nullopt;
    }
    DisplayArea area;
    area.x = static_cast<std::int32_t>(bounds.origin.x);
    area.y = static_cast<std::int32_t>(bounds.origin.y);
    area.width = static_cast<std::uint32_t>(bounds.size.width);
    area.height = static_cast<std::uint32_t>(bounds.size.height);
    const CGDisplayModeRef mode = displays.CGDisplayCopyDisplayMode(display);
    area.refreshHz = displays.CGDisplayModeGetRefreshRate(mode);
    displays.CGDisplayModeRelease(mode);
    return area;
}

X11DisplayStreams* StreamingQuartz::streamDriver() {
    if (!m_tried) {
        m_tried = true;
        m_log = std::make_unique<StreamLog>();
        m_streams = m_makeStreams(m_registry, *m_log, [this](CGDirectDisplayID display) {
            return areaOf(m_displays, display);
        });
        if (m_streams) {
            // A streamed display that moves or changes its mode is looked up again.
            m_watchingDisplays = m_displays.CGDisplayRegisterReconfigurationCallback(
                                     &onReconfiguration, this) == kCGErrorSuccess;
            if (m_started) {
                m_started(*m_streams);
            }
        }
    }
    return m_streams.get();
}

void StreamingQuartz::onReconfiguration(CGDirectDisplayID, CGDisplayChangeSummaryFlags flags,
                                        void* userInfo) {
    auto* self = static_cast<StreamingQuartz*>(userInfo);
    if ((flags & kCGDisplayBeginConfigurationFlag) == 0 && self->m_streams) {
        self->m_streams->displaysChanged();
    }
}

CGDisplayStreamRef StreamingQuartz::CGDisplayStreamCreateWithDispatchQueue(
    CGDirectDisplayID display, std::size_t outputWidth, std::size_t outputHeight,
    std::int32_t pixelFormat, const Value& properties, dispatch_queue_t queue,
    CGDisplayStreamFrameAvailableHandler handler) {
    X11DisplayStreams* streams = streamDriver();
    if (streams == nullptr) {
        return nullptr;
    }
    return streams->CGDisplayStreamCreateWithDispatchQueue(
        display, outputWidth, outputHeight, pixelFormat, properties, queue, std::move(handler));
}

CGError StreamingQuartz::CGDisplayStreamStart(CGDisplayStreamRef stream) {
    return m_streams ? m_streams->CGDisplayStreamStart(stream) : kCGErrorIllegalArgument;
}

CGError StreamingQuartz::CGDisplayStreamStop(CGDisplayStreamRef stream) {
    return m_streams ? m_streams->CGDisplayStreamStop(stream) : kCGErrorIllegalArgument;
}

}  // namespace qn::platform::linux_host
