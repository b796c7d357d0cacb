#pragma once
// The display mode over the Quartz port; owns the copied mode.

#include "tk/quartz/ICGDisplayMode.h"

namespace qn::tk::osx108 {

class CGDisplayMode : public ICGDisplayMode {
  public:
    explicit CGDisplayMode(platform::CGDirectDisplayID displayId);
    ~CGDisplayMode() override;
    CGDisplayMode(const CGDisplayMode&) = delete;
    CGDisplayMode& operator=(const CGDisplayMode&) = delete;

    std::size_t pixelWidth() override;
    std::size_t pixelHeight() override;

  private:
    platform::CGDirectDisplayID m_displayId;
    platform::CGDisplayModeRef m_mode;
};

}  // namespace qn::tk::osx108
