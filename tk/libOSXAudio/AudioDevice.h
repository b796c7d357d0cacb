#pragma once

#include <cstdint>
#include <string>

namespace qn::tk::osx {

// A small view of one host audio device, made and dropped within one scan.
class AudioDevice {
  public:
    virtual ~AudioDevice() = default;
    virtual double actualSampleRate() = 0;
    virtual void setNominalSampleRate(double rate) = 0;
    virtual std::string modelUID() = 0;
    virtual std::uint32_t vendorId() = 0;
    virtual std::uint32_t transportType() = 0;
    virtual std::string name() = 0;
    virtual std::string manufacturer() = 0;
    virtual bool isQuintorDevice() = 0;
};

// The USB vendor id of the adapters.
constexpr std::uint32_t kQuintorVendorId = 43981;

}  // namespace qn::tk::osx
