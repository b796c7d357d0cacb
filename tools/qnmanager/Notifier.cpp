#include "tools/qnmanager/Notifier.h"

#include "platform/linux/bus/BusHandles.h"
#include "platform/linux/bus/ManagerWire.h"

namespace qn::tools::qnmanager {

using namespace platform::linux_host;

int postNotification(sd_bus* bus, const std::string& name, const platform::Value& userInfo) {
    BusMessagePtr signal;
    int r = sd_bus_message_new_signal(bus, signal.receive(), kManagerLocator.path,
                                      kManagerLocator.interface, name.c_str());
    if (r >= 0)
        r = appendUserInfo(signal.get(), userInfo);
    if (r >= 0)
        r = sd_bus_send(bus, signal.get(), nullptr);
    // A round trip to the daemon after it: the daemon handles one connection's messages
    // in order, so when the answer is here the signal has been routed to every receiver,
    // ahead of anything this process or another sends later.
    if (r >= 0) {
        BusError error;
        r = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus.Peer", "Ping", error.get(), nullptr, "");
    }
    return r < 0 ? r : 0;
}

}  // namespace qn::tools::qnmanager
