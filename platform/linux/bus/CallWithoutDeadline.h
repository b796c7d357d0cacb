#pragma once
// A method call whose reply is handled on the loop, with no deadline of its own. sd-bus
// checks deadlines before the replies it has already read, so a reply that sat in its
// queue while the thread was blocked in another call (a slow Manager, the waits at
// start) would be thrown away for a timeout it never had.

#include <systemd/sd-bus.h>

#include <cstdint>

#include "platform/linux/bus/BusHandles.h"

namespace qn::platform::linux_host {

// Sends `call`; its reply, or an error, reaches `handler` on the loop while `slot` lives.
// A negative errno when nothing was sent.
inline int callWithoutDeadline(sd_bus* bus, BusSlotPtr& slot, sd_bus_message* call,
                               sd_bus_message_handler_t handler, void* userdata) {
    return sd_bus_call_async(bus, slot.receive(), call, handler, userdata, UINT64_MAX);
}

}  // namespace qn::platform::linux_host
