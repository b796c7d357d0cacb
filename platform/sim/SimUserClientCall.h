#pragma once
// One call made on a user client of the simulated registry, with its bytes.

#include <cstdint>
#include <vector>

#include "platform/IOKit.h"

namespace qn::platform::sim {

struct SimUserClientCall {
    enum class Kind { CallMethod, MapMemory };
    Kind kind = Kind::CallMethod;
    io_connect_t connection = 0;
    io_service_t service = 0;
    std::uint32_t selector = 0;  // the memory type for MapMemory
    std::vector<std::uint64_t> scalarInput;
    std::vector<std::uint8_t> structInput;
    std::size_t structOutputCapacity = 0;
    bool hasStructOutput = false;
    IOOptionBits options = 0;  // MapMemory
    kern_return_t result = KERN_SUCCESS;
};

}  // namespace qn::platform::sim
