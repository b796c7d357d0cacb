#pragma once

#include <string>

#include "sys/libutils/Aes128.h"

namespace qn::sys::encryption {

// Armours one plain line: pads it with blanks to a multiple of 16 bytes (in
// place), encrypts it in CBC mode chaining from iv (updated in place) and
// encodes the result in Base64 into out. Returns false, with out empty, if the
// cipher or the encoding fails.
bool armourLine(Aes128& cipher, Block<16>& iv, std::string& plain, std::string& out);

}  // namespace qn::sys::encryption
