#pragma once

#include <memory>

#include "tk/libOSXAudio/AudioDeviceEvent.h"

namespace qn::tk::osx {

// Watches the host's audio device list and fires an event for each adapter audio device
// that has just appeared, on the host's audio notification thread.
class QuintorAudioDeviceLister : public AudioDeviceEvents::Source {
  public:
    static std::unique_ptr<QuintorAudioDeviceLister> create();
};

}  // namespace qn::tk::osx
