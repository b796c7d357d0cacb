#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sys/libutils/InstrumentationLayout.h"

namespace qn::sys::instrumentation {

// Reads the instrumentation of other processes: the directory's names and a
// process's variables. It only reads, without the writers' locks, so every
// count and link it finds is checked before it is followed.
class InstrumentationReader {
  public:
    struct Variable {
        layout::Kind kind;
        std::string name;
        std::int64_t value;
    };

    struct Region {
        std::uint32_t totalSize = 0;
        std::uint32_t version = 0;
        std::uint32_t slots = 0;
        std::uint32_t freeSlots = 0;
        std::vector<Variable> variables;  // list A, then B, then the 64-bit one
    };

    explicit InstrumentationReader(std::string directoryName);

    // The names in the directory; throws ErrorCodeException 10 if there is none.
    std::vector<std::string> processes() const;
    // The variables of one process; throws ErrorCodeException 10 if its region
    // is gone (the process has ended), MessageException 39 if it isn't one.
    Region read(const std::string& processName) const;

  private:
    std::string m_directoryName;
};

const char* kindName(layout::Kind kind);

}  // namespace qn::sys::instrumentation
