#pragma once
// A display stream as the frame updater sees it. The platform's stream functions exist
// only on newer systems, so nothing reaches them before the Manager asks for a stream.

#include <boost/function.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/Dispatch.h"
#include "platform/IOSurface.h"
#include "platform/Quartz.h"
#include "platform/Value.h"

namespace qn::tk::osx108 {

class ICGDisplayStream {
  public:
    enum FrameStatus : std::int32_t {
        FrameComplete = 0,
        FrameIdle = 1,
        FrameBlank = 2,
        Stopped = 3,
    };
    // The surface and the update are only good during the call unless retained.
    using Handler = boost::function<void(FrameStatus status, std::uint64_t displayTime,
                                         platform::IOSurfaceRef surface,
                                         platform::CGDisplayStreamUpdateRef update)>;

    virtual ~ICGDisplayStream() = default;

    virtual void start() = 0;
    virtual void stop() = 0;
    // Rectangles of the type, owned by the update.
    virtual const platform::CGRect* getRects(platform::CGDisplayStreamUpdateRef update,
                                             std::uint32_t rectType, std::size_t* count) = 0;
    // A new update, owned by the caller, covering both (the older first).
    virtual platform::CGDisplayStreamUpdateRef createMergedUpdate(
        platform::CGDisplayStreamUpdateRef first, platform::CGDisplayStreamUpdateRef second) = 0;

    // Makes the stream and starts it at once.
    static std::unique_ptr<ICGDisplayStream> create(platform::CGDirectDisplayID displayId,
                                                    std::size_t width, std::size_t height,
                                                    std::uint32_t pixelFormat,
                                                    const platform::Value& options,
                                                    platform::dispatch_queue_t queue,
                                                    Handler handler);
};

}  // namespace qn::tk::osx108
