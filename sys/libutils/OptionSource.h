#pragma once

#include <cstdint>

namespace qn::sys::option {

// Where an option's present value came from. Only SourceProgram is ever
// written back to a store.
enum OptionSource : std::uint32_t {
    SourceNone = 0,  // a store's answer for a name it doesn't have
    SourceDefault = 1,
    SourceMachineStore = 2,
    SourceUserStore = 3,
    SourceCommandLine = 4,
    SourceProgram = 5,
};

}  // namespace qn::sys::option
