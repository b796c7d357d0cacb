#pragma once

#include "sys/libutils/Event.h"
#include "tk/libOSXAudio/AudioDevice.h"

namespace qn::tk::osx {

struct AudioDeviceEvent {
    // 0: the device has just appeared.
    int kind = 0;
    // Good only during the call.
    AudioDevice* device = nullptr;
};

using AudioDeviceEvents = sys::EventTemplate<AudioDeviceEvent>;

}  // namespace qn::tk::osx
