#pragma once
// The lines of a Manager's transcript, one JSON object each, written alike by the
// scenario player (virtual time) and the Manager stand-in (real time): what the Manager
// saw of calls, posts and its own coming and going.

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/Value.h"

namespace qn::tools::transcript {

// {"call": selector, "args": [...]}; "raised" is added by the caller when it refused.
nlohmann::ordered_json callLine(const std::string& selector,
                                const std::vector<platform::Value>& arguments);
// {"post": name, "userInfo": {...}}
nlohmann::ordered_json postLine(const std::string& name, const platform::Value& userInfo);
// {"manager": state}: "registered", "died".
nlohmann::ordered_json managerLine(const std::string& state);
// The line with "t" (seconds) in front.
nlohmann::ordered_json stamped(double seconds, const nlohmann::ordered_json& line);

}  // namespace qn::tools::transcript
