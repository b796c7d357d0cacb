#pragma once
// Conversion between the ports' value type and JSON.

#include <nlohmann/json.hpp>

#include "platform/Value.h"

namespace qn::tools::transcript {

// Integers stay integers, other numbers become floating point, objects dictionaries.
platform::Value valueFromJson(const nlohmann::json& json);
// Data becomes {"data": "<hex>"}. Output keeps the order in which keys are written.
nlohmann::ordered_json valueToJson(const platform::Value& value);

}  // namespace qn::tools::transcript
