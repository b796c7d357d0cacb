#pragma once

#include "sys/libutils/Waitable.h"

namespace qn::sys {

// Waits for any descriptor to become readable; it never reads and never fails.
class HandleReadWaitable : public Waitable {
  public:
    explicit HandleReadWaitable(int descriptor);
};

}  // namespace qn::sys
