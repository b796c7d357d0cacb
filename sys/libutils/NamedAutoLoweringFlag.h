#pragma once

#include <string>

#include "sys/libutils/Waitable.h"

namespace qn::sys {

// A flag that crosses processes: a FIFO at a path, raised by writing one byte
// and lowered by the read of the waiter that sees it. Used as a named lock:
// locking is a wait, unlocking a raise.
class NamedAutoLoweringFlag : public Waitable {
  public:
    // Makes the FIFO if needed; raises it if this call made it and raiseIfCreated.
    NamedAutoLoweringFlag(const std::string& path, bool raiseIfCreated);
    void raise();
    bool created() const;
};

}  // namespace qn::sys
