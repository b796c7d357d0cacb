#pragma once
// A display's current mode, as far as the frame updater needs it: its size in pixels.

#include <cstddef>
#include <memory>

#include "platform/Quartz.h"

namespace qn::tk::osx108 {

class ICGDisplayMode {
  public:
    virtual ~ICGDisplayMode() = default;
    virtual std::size_t pixelWidth() = 0;
    virtual std::size_t pixelHeight() = 0;

    static std::unique_ptr<ICGDisplayMode> create(platform::CGDirectDisplayID displayId);
};

}  // namespace qn::tk::osx108
