#pragma once
// The walk the agent makes over the registry from release 13 on, reduced to what a
// backend must answer: the first IODisplayConnect service whose display child has the
// numbers and hangs under the driver path gives the number right behind that path.
// Used to drive a registry backend the way the agent does, without the agent.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/IOKit.h"

namespace qn::test {

inline constexpr const char* kDriverPath = "IOService:/IOResources/QuintorParent/QuintorParent";

inline std::uint32_t registryIndexFor(platform::IOKit& io, std::uint16_t vendor,
                                      std::uint16_t model) {
    using namespace platform;
    io_iterator_t iterator = 0;
    if (io.IOServiceGetMatchingServices(kIOMasterPortDefault,
                                        io.IOServiceMatching("IODisplayConnect"),
                                        &iterator) != KERN_SUCCESS) {
        return 0xffffffff;
    }
    std::uint32_t index = 0xffffffff;
    while (index == 0xffffffff) {
        const io_object_t service = io.IOIteratorNext(iterator);
        if (service == 0) {
            break;
        }
        io_registry_entry_t child = 0;
        if (io.IORegistryEntryGetChildEntry(service, kIOServicePlane, &child) == KERN_SUCCESS) {
            io_string_t path;
            const auto product = io.IORegistryEntryCreateCFProperty(child, kDisplayProductID, 0);
            const auto vendorId = io.IORegistryEntryCreateCFProperty(child, kDisplayVendorID, 0);
            if (io.IORegistryEntryGetPath(child, kIOServicePlane, path) == KERN_SUCCESS &&
                product.isNumber() && vendorId.isNumber() &&
                static_cast<std::uint16_t>(product.intValue()) == model &&
                static_cast<std::uint16_t>(vendorId.intValue()) == vendor &&
                std::string(path).find(kDriverPath) != std::string::npos) {
                index = static_cast<std::uint32_t>(
                    std::strtoul(path + std::strlen(kDriverPath), nullptr, 10));
            }
            io.IOObjectRelease(child);
        }
        io.IOObjectRelease(service);
    }
    return index;
}

}  // namespace qn::test
