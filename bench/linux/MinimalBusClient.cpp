// The smallest sd-bus client start for the start-up benchmark's comparison: connect to
// the system bus (DBUS_SYSTEM_BUS_ADDRESS), ping the Manager's name once, exit.
// Exit status: 0 answered, 1 no bus or no answer.

#include <systemd/sd-bus.h>

int main() {
    sd_bus* bus = nullptr;
    if (sd_bus_open_system(&bus) < 0) {
        return 1;
    }
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int r = sd_bus_call_method(bus, "com.quintor.QuintorManager", "/",
                                     "org.freedesktop.DBus.Peer", "Ping", &error, nullptr, "");
    sd_bus_error_free(&error);
    sd_bus_flush_close_unref(bus);
    return r < 0 ? 1 : 0;
}
