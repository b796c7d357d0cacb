#include "platform/linux/bus/ProxyError.h"

#include <cstring>

#include "platform/Foundation.h"

namespace qn::platform::linux_host {

std::string proxyErrorReason(int result, const sd_bus_error* error) {
    if (error != nullptr && sd_bus_error_is_set(error)) {
        if (error->message != nullptr && error->message[0] != '\0') {
            return error->message;
        }
        return error->name;
    }
    return std::strerror(result < 0 ? -result : result);
}

void raiseProxyException(int result, const sd_bus_error* error) {
    throw ProxyException(proxyErrorReason(result, error));
}

}  // namespace qn::platform::linux_host
