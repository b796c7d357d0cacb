#pragma once
// Owners of sd-event's handles.

#include <systemd/sd-event.h>

#include "platform/linux/UniqueHandle.h"

namespace qn::platform::linux_host {

using EventPtr = UniqueHandle<sd_event, sd_event_unref>;
// Unref on a source the loop holds no other reference to also removes it from the loop.
using EventSourcePtr = UniqueHandle<sd_event_source, sd_event_source_unref>;

}  // namespace qn::platform::linux_host
