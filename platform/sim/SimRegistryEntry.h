#pragma once
// One entry of the simulated I/O registry.

#include <string>
#include <vector>

#include "platform/IOKit.h"

namespace qn::platform::sim {

struct SimRegistryEntry {
    io_registry_entry_t id = 0;
    std::string className;
    // The path in the IOService plane; empty makes IORegistryEntryGetPath fail.
    std::string path;
    io_registry_entry_t parent = 0;
    std::vector<io_registry_entry_t> children;
    Value properties;
    // What IODisplayCreateInfoDictionary gives for this entry (null: nothing).
    Value displayInfo;
    // A driver service: IOServiceOpen gives this result.
    kern_return_t openResult = KERN_SUCCESS;
};

}  // namespace qn::platform::sim
