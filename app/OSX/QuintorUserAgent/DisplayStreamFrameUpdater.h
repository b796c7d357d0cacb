#pragma once
// What the stream routing needs of one display's frame updater.

#include <cstdint>

namespace qn::tk::osxqnm {

class DisplayStreamFrameUpdater {
  public:
    virtual ~DisplayStreamFrameUpdater() = default;
    virtual void start(std::uint32_t displayId, std::uint32_t frameBufferIndex,
                       std::uint64_t token) = 0;
    // Stops the stream; the stopped status, not the caller, ends the updater.
    virtual void stop() = 0;
    virtual bool isStarted() = 0;
    virtual void releaseFrameSurface(std::uint64_t surfaceAddress) = 0;
};

}  // namespace qn::tk::osxqnm
