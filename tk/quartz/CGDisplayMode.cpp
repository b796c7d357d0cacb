#include "tk/quartz/CGDisplayMode.h"

#include "platform/Backend.h"

namespace qn::tk::osx108 {

std::unique_ptr<ICGDisplayMode> ICGDisplayMode::create(platform::CGDirectDisplayID displayId) {
    return std::make_unique<CGDisplayMode>(displayId);
}

CGDisplayMode::CGDisplayMode(platform::CGDirectDisplayID displayId)
    : m_displayId(displayId), m_mode(platform::quartz().CGDisplayCopyDisplayMode(displayId)) {}

CGDisplayMode::~CGDisplayMode() {
    platform::quartz().CGDisplayModeRelease(m_mode);
}

std::size_t CGDisplayMode::pixelWidth() {
    return platform::quartz().CGDisplayModeGetPixelWidth(m_mode);
}

std::size_t CGDisplayMode::pixelHeight() {
    return platform::quartz().CGDisplayModeGetPixelHeight(m_mode);
}

}  // namespace qn::tk::osx108
