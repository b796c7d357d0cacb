#pragma once

#include <memory>

#include "tk/libOSXAudio/QuintorAudioDeviceLister.h"

namespace qn::tk::osx {

// Keeps the adapters' audio devices at 48 kHz as the lister reports them. Must go
// before its lister.
class AudioDeviceConfigurator {
  public:
    virtual ~AudioDeviceConfigurator() = default;
    static std::unique_ptr<AudioDeviceConfigurator> create(QuintorAudioDeviceLister* lister);
};

}  // namespace qn::tk::osx
