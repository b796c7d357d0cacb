#include "tools/transcript/TranscriptLines.h"

#include "tools/transcript/ValueJson.h"

namespace qn::tools::transcript {

nlohmann::ordered_json callLine(const std::string& selector,
                                const std::vector<platform::Value>& arguments) {
    auto array = nlohmann::ordered_json::array();
    for (const auto& value : arguments) {
        array.push_back(valueToJson(value));
    }
    return {{"call", selector}, {"args", array}};
}

nlohmann::ordered_json postLine(const std::string& name, const platform::Value& userInfo) {
    return {{"post", name}, {"userInfo", valueToJson(userInfo)}};
}

nlohmann::ordered_json managerLine(const std::string& state) {
    return {{"manager", state}};
}

nlohmann::ordered_json stamped(double seconds, const nlohmann::ordered_json& line) {
    nlohmann::ordered_json result{{"t", seconds}};
    for (const auto& [key, value] : line.items()) {
        result[key] = value;
    }
    return result;
}

}  // namespace qn::tools::transcript
