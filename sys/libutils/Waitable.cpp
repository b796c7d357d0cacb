#include "sys/libutils/Waitable.h"

#include <poll.h>

namespace qn::sys {

int pollForReading(int descriptor, std::uint32_t timeout, bool foreverAtMax) {
    pollfd entry{descriptor, POLLIN, 0};
    timespec limit{static_cast<time_t>(timeout / 1000000),
                   static_cast<long>(timeout % 1000000) * 1000};
    bool forever = foreverAtMax && timeout == kWaitForever;
    return ppoll(&entry, 1, forever ? nullptr : &limit, nullptr);
}

}  // namespace qn::sys
