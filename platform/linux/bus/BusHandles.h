#pragma once
// Owners of sd-bus's handles and of an sd_bus_error.

#include <systemd/sd-bus.h>

#include "platform/linux/UniqueHandle.h"

namespace qn::platform::linux_host {

// Flushes what is queued, then closes: a closing call must leave before the process does.
using BusPtr = UniqueHandle<sd_bus, sd_bus_flush_close_unref>;
using BusMessagePtr = UniqueHandle<sd_bus_message, sd_bus_message_unref>;
// Dropping a slot removes its match, object or reply callback.
using BusSlotPtr = UniqueHandle<sd_bus_slot, sd_bus_slot_unref>;

class BusError {
  public:
    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    ~BusError() { sd_bus_error_free(&m_error); }

    sd_bus_error* get() { return &m_error; }
    const sd_bus_error* get() const { return &m_error; }
    bool isSet() const { return sd_bus_error_is_set(&m_error); }
    bool has(const char* name) const { return sd_bus_error_has_name(&m_error, name) != 0; }
    const char* name() const { return m_error.name ? m_error.name : ""; }
    const char* message() const { return m_error.message ? m_error.message : ""; }

  private:
    sd_bus_error m_error = SD_BUS_ERROR_NULL;
};

}  // namespace qn::platform::linux_host
