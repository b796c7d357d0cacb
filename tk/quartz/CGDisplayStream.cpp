#include "tk/quartz/CGDisplayStream.h"

#include "platform/Backend.h"

namespace qn::tk::osx108 {

std::unique_ptr<ICGDisplayStream> ICGDisplayStream::create(platform::CGDirectDisplayID displayId,
                                                           std::size_t width, std::size_t height,
                                                           std::uint32_t pixelFormat,
                                                           const platform::Value& options,
                                                           platform::dispatch_queue_t queue,
                                                           Handler handler) {
    return std::make_unique<CGDisplayStream>(displayId, width, height, pixelFormat, options, queue,
                                             handler);
}

CGDisplayStream::CGDisplayStream(platform::CGDirectDisplayID displayId, std::size_t width,
                                 std::size_t height, std::uint32_t pixelFormat,
                                 const platform::Value& options, platform::dispatch_queue_t queue,
                                 const Handler& handler)
    : m_displayId(displayId), m_handler(std::make_shared<Handler>(handler)) {
    std::weak_ptr<Handler> weak = m_handler;
    m_stream = platform::quartz().CGDisplayStreamCreateWithDispatchQueue(
        displayId, width, height, static_cast<std::int32_t>(pixelFormat), options, queue,
        [weak](platform::CGDisplayStreamFrameStatus status, std::uint64_t displayTime,
               platform::IOSurfaceRef surface, platform::CGDisplayStreamUpdateRef update) {
            // Held for the call, so that the handler may delete this wrapper.
            if (const auto handler = weak.lock()) {
                (*handler)(static_cast<FrameStatus>(status), displayTime, surface, update);
            }
        });
    start();
}

CGDisplayStream::~CGDisplayStream() {
    platform::quartz().CGDisplayStreamStop(m_stream);
    m_handler.reset();
}

void CGDisplayStream::start() {
    platform::quartz().CGDisplayStreamStart(m_stream);
}

void CGDisplayStream::stop() {
    platform::quartz().CGDisplayStreamStop(m_stream);
}

const platform::CGRect* CGDisplayStream::getRects(platform::CGDisplayStreamUpdateRef update,
                                                  std::uint32_t rectType, std::size_t* count) {
    return platform::quartz().CGDisplayStreamUpdateGetRects(
        update, static_cast<platform::CGDisplayStreamUpdateRectType>(rectType), count);
}

platform::CGDisplayStreamUpdateRef CGDisplayStream::createMergedUpdate(
    platform::CGDisplayStreamUpdateRef first, platform::CGDisplayStreamUpdateRef second) {
    return platform::quartz().CGDisplayStreamUpdateCreateMergedUpdate(first, second);
}

}  // namespace qn::tk::osx108
