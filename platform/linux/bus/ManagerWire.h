#pragma once
// The Manager's protocol on D-Bus, for both ends (the agent's link and the stand-in):
// where the Manager lives, the member name and signature of each call, and the coding
// of arguments and of a notification's userInfo.
//
// A selector becomes its member by joining its parts with '_' and dropping the final
// colon ("started:withSessionType:" -> "started_withSessionType"). Argument types:
// 32-bit unsigned "u", 64-bit unsigned "t", double "d", boolean "b", a rectangle
// "(dddd)" (x, y, width, height), a move delta "(ii)". A notification is a signal of the
// same interface whose member is the notification's name, with one "a{sv}" argument.

#include <string>
#include <vector>

#include <systemd/sd-bus.h>

#include "platform/ManagerProtocol.h"
#include "platform/Value.h"

namespace qn::platform::linux_host {

struct ManagerLocator {
    const char* name;
    const char* path;
    const char* interface;
};
inline constexpr ManagerLocator kManagerLocator{
    "com.quintor.QuintorManager", "/com/quintor/QuintorManager", "com.quintor.QuintorManager"};

std::string memberForSelector(const std::string& selector);
// The protocol's method with that member, or null.
const ManagerMethod* methodForMember(const std::string& member);
std::string signatureOf(const ManagerMethod& method);

// Each returns 0 or a negative errno, as sd-bus does. The values have the types the
// protocol's table gives (see ManagerArgument); anything else is -EINVAL.
int appendArguments(sd_bus_message* message, const ManagerMethod& method,
                    const std::vector<Value>& arguments);
int readArguments(sd_bus_message* message, const ManagerMethod& method,
                  std::vector<Value>& arguments);

// userInfo as "a{sv}": strings "s", booleans "b", integers "x", other numbers "d", data
// "ay", arrays "av", dictionaries "a{sv}"; a null value is an empty dictionary.
int appendUserInfo(sd_bus_message* message, const Value& userInfo);
int readUserInfo(sd_bus_message* message, Value& userInfo);

// The introspection document of the Manager's object.
std::string managerIntrospectionXml();

}  // namespace qn::platform::linux_host
