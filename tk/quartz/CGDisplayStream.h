#pragma once
// The display stream over the Quartz port.

#include <memory>

#include "tk/quartz/ICGDisplayStream.h"

namespace qn::tk::osx108 {

class CGDisplayStream : public ICGDisplayStream {
  public:
    CGDisplayStream(platform::CGDirectDisplayID displayId, std::size_t width, std::size_t height,
                    std::uint32_t pixelFormat, const platform::Value& options,
                    platform::dispatch_queue_t queue, const Handler& handler);
    // Stops the platform stream, then drops the handler: a stopped status that the
    // platform still delivers afterwards finds no handler and goes nowhere. The
    // platform's stream reference is not released.
    ~CGDisplayStream() override;
    CGDisplayStream(const CGDisplayStream&) = delete;
    CGDisplayStream& operator=(const CGDisplayStream&) = delete;

    void start() override;
    void stop() override;
    const platform::CGRect* getRects(platform::CGDisplayStreamUpdateRef update,
                                     std::uint32_t rectType, std::size_t* count) override;
    platform::CGDisplayStreamUpdateRef createMergedUpdate(
        platform::CGDisplayStreamUpdateRef first,
        platform::CGDisplayStreamUpdateRef second) override;

    platform::CGDisplayStreamRef platformStream() const { return m_stream; }

  private:
    platform::CGDisplayStreamRef m_stream = nullptr;
    platform::CGDirectDisplayID m_displayId;
    // Shared with the platform's block, which holds it weakly.
    std::shared_ptr<Handler> m_handler;
};

}  // namespace qn::tk::osx108
