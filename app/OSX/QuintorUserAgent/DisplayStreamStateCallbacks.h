#pragma once

namespace qn::app::osx::qnuapp {

// Told by the Manager notification observer when a display stream starts or stops, so
// that the Quartz rectangle callbacks give way to the stream's own rectangles.
class DisplayStreamStateCallbacks {
  public:
    virtual ~DisplayStreamStateCallbacks() = default;
    virtual void displayStreamStarting() = 0;
    virtual void displayStreamStopping() = 0;
};

}  // namespace qn::app::osx::qnuapp
