#pragma once

#include "sys/libutils/Block.h"

namespace qn::sys::encryption {

// Builds the key that armours log lines from the compiled key table. The key
// should live only as long as it takes to set up a cipher.
bool fetchLineKey(Key<16>& key);

}  // namespace qn::sys::encryption
