#pragma once
// The Manager's broadcasts: a signal of its interface, member = the notification's name,
// one a{sv} argument = the userInfo.

#include <string>

#include <systemd/sd-bus.h>

#include "platform/Value.h"

namespace qn::tools::qnmanager {

// 0 or a negative errno.
int postNotification(sd_bus* bus, const std::string& name, const platform::Value& userInfo);

}  // namespace qn::tools::qnmanager
