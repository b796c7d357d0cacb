#pragma once
// A connection to one instance of the kernel driver; the one place that calls into it.

#include <cstdint>
#include <memory>

namespace qn::tk::driver {

class DriverControl {
  public:
    virtual ~DriverControl() = default;

    // Finds the driver instance and opens a connection to it.
    virtual bool createDriverControlSymLink() = 0;
    // One driver method; true when the driver took it. The two names are for
    // implementations that trace their calls.
    virtual bool callMethod(std::uint64_t selector, const void* input, std::uint64_t inputSize,
                            void* output, std::uint64_t outputSize, const char* methodName,
                            const char* callerName) = 0;
    virtual bool queryFlag() = 0;
    virtual bool isOpen() = 0;
};

class DriverControlFactory {
  public:
    virtual ~DriverControlFactory() = default;
    // `kind` is not looked at; `driverIndex` picks the instance.
    virtual std::unique_ptr<DriverControl> create(std::uint32_t kind, std::uint32_t driverIndex);
};

}  // namespace qn::tk::driver
