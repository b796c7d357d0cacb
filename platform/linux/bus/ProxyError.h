#pragma once
// The one place where a failed bus call becomes the proxy's exception.

#include <string>

#include <systemd/sd-bus.h>

namespace qn::platform::linux_host {

// The reason text of a failed call: the error reply's message when there is one (a
// refusal, a timeout, a vanished peer, each told apart by the daemon's error name, never
// by the return code), else the name, else the text of the negative errno.
std::string proxyErrorReason(int result, const sd_bus_error* error);

// Throws ProxyException with that reason.
[[noreturn]] void raiseProxyException(int result, const sd_bus_error* error);

}  // namespace qn::platform::linux_host
