#include "tools/transcript/ValueJson.h"

#include <cstdio>

namespace qn::tools::transcript {

using platform::Value;

Value valueFromJson(const nlohmann::json& json) {
    switch (json.type()) {
        case nlohmann::json::value_t::boolean:
            return Value::boolean(json.get<bool>());
        case nlohmann::json::value_t::number_integer:
        case nlohmann::json::value_t::number_unsigned:
            return Value::number(json.get<std::int64_t>());
        case nlohmann::json::value_t::number_float:
            return Value::number(json.get<double>());
        case nlohmann::json::value_t::string:
            return Value::string(json.get<std::string>());
        case nlohmann::json::value_t::array: {
            Value array = Value::array();
            for (const auto& element : json) {
                array.append(valueFromJson(element));
            }
            return array;
        }
        case nlohmann::json::value_t::object: {
            Value dictionary = Value::dictionary();
            for (const auto& [key, element] : json.items()) {
                dictionary.set(key, valueFromJson(element));
            }
            return dictionary;
        }
        default:
            return Value();
    }
}

nlohmann::ordered_json valueToJson(const Value& value) {
    switch (value.type()) {
        case Value::Type::Null:
            return nullptr;
        case Value::Type::Boolean:
            return value.boolValue();
        case Value::Type::Number:
            if (value.isFloat()) {
                return value.doubleValue();
            }
            return value.longLongValue();
        case Value::Type::String:
            return value.stringValue();
        case Value::Type::Data: {
            std::string hex;
            char digits[3];
            for (const auto byte : value.dataValue()) {
                std::snprintf(digits, sizeof digits, "%02x", byte);
                hex += digits;
            }
            return nlohmann::ordered_json{{"data", hex}};
        }
        case Value::Type::Array: {
            auto array = nlohmann::ordered_json::array();
            for (const auto& element : value.arrayValue()) {
                array.push_back(valueToJson(element));
            }
            return array;
        }
        case Value::Type::Dictionary: {
            auto object = nlohmann::ordered_json::object();
            for (const auto& [key, element] : value.dictionaryValue()) {
                object[key] = valueToJson(element);
            }
            return object;
        }
    }
    return nullptr;
}

}  // namespace qn::tools::transcript
