#pragma once

#include <cstdint>

#include "sys/libutils/OptionInt.h"
#include "sys/libutils/RegistryDataStore.h"

namespace qn::sys::testing {

// Writes the assertion mask into the hive, as a program setting it would.
inline void setAssertBehaviour(std::int32_t mask) {
    option::RegistryDataStore store("QuintorManager", true);
    option::Int behaviour("AssertBehaviour", 3, "", "");
    behaviour.set(mask);
    behaviour.save(store);
}

}  // namespace qn::sys::testing
