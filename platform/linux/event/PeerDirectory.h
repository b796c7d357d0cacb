#pragma once
// Where Foundation finds a peer by its registered name: the bus link on this host.

#include <string>

#include "platform/Foundation.h"

namespace qn::platform::linux_host {

class PeerDirectory {
  public:
    virtual ~PeerDirectory() = default;
    // The peer's root object, or an empty reference when nobody owns the name.
    virtual ProxyRef lookUp(const std::string& registeredName) = 0;
};

}  // namespace qn::platform::linux_host
