#pragma once
// The connection to one driver instance over the IOKit port: the instance is found by
// its class and its "Name" property, and a user client of type 0 is opened on it.

#include <cstdint>

#include "platform/IOKit.h"
#include "sys/libutils/Logger.h"
#include "tk/libDriver/DriverControl.h"

namespace qn::tk::driver {

class MacDriverControl : public DriverControl, public sys::Logger::Logged {
  public:
    static constexpr const char* kDriverClass = "QuintorParent";

    // Opens at once; isOpen() tells whether that worked.
    explicit MacDriverControl(std::uint32_t driverIndex);
    ~MacDriverControl() override;
    MacDriverControl(const MacDriverControl&) = delete;
    MacDriverControl& operator=(const MacDriverControl&) = delete;

    bool createDriverControlSymLink() override;
    bool callMethod(std::uint64_t selector, const void* input, std::uint64_t inputSize,
                    void* output, std::uint64_t outputSize, const char* methodName,
                    const char* callerName) override;
    bool queryFlag() override { return false; }
    bool isOpen() override { return m_connection != 0; }

  private:
    bool mapMemory(void* output);

    std::uint32_t m_driverIndex;
    platform::io_connect_t m_connection = 0;
};

}  // namespace qn::tk::driver
