#pragma once

#include <cstdint>
#include <string>

#include "platform/CoreAudio.h"
#include "sys/libutils/Logger.h"
#include "tk/libOSXAudio/AudioDevice.h"

namespace qn::tk::osx {

// One host audio device by its object id, read and written through the CoreAudio port.
// Read failures give a zero value and a log line; nothing throws. One thread at a time.
class AudioDeviceImpl : public sys::Logger::Logged, public AudioDevice {
  public:
    explicit AudioDeviceImpl(std::uint32_t deviceId);

    double actualSampleRate() override;
    void setNominalSampleRate(double rate) override;
    std::string modelUID() override;
    std::uint32_t vendorId() override;
    std::uint32_t transportType() override;
    std::string name() override;
    std::string manufacturer() override;
    bool isQuintorDevice() override;

  private:
    std::string stringProperty(platform::AudioObjectPropertySelector selector);

    std::uint32_t m_deviceId;
};

}  // namespace qn::tk::osx
