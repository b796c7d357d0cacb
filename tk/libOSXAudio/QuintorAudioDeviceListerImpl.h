#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "platform/CoreAudio.h"
#include "sys/libutils/Logger.h"
#include "tk/libOSXAudio/AudioPropertyListener.h"
#include "tk/libOSXAudio/QuintorAudioDeviceLister.h"

namespace qn::tk::osx {

// Scans the device list at each change and fires for adapter devices not seen at the
// previous scan. Nothing is scanned at start. One scan at a time: the host calls the
// listener on one thread.
class QuintorAudioDeviceListerImpl : public QuintorAudioDeviceLister, public sys::Logger::Logged {
  public:
    QuintorAudioDeviceListerImpl();
    ~QuintorAudioDeviceListerImpl() override;

    static platform::OSStatus listener(platform::AudioObjectID object, platform::UInt32 count,
                                       const platform::AudioObjectPropertyAddress* addresses,
                                       void* clientData);

  private:
    std::set<std::uint32_t> deviceList();
    void scan();

    std::set<std::uint32_t> m_knownDevices;
    // Last, so that the listener is gone before anything it reads.
    std::optional<AudioPropertyListener> m_listening;
};

}  // namespace qn::tk::osx
