#pragma once

#include <cstddef>

namespace qn::sys::encryption {

// The process-wide generator of random bytes (HAVEGE), set up at static
// initialisation. Only used to overwrite keys and cipher state.
class RandomSource {
  public:
    static void fill(void* buffer, std::size_t length);
};

}  // namespace qn::sys::encryption
