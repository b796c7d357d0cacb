#pragma once

#include <string>
#include <utility>

#include "tools/qnscenario/Scenario.h"

namespace qn::tools::qnscenario {

// The line and message of the rejection, or {0, ""} when the text parses.
inline std::pair<int, std::string> rejection(const std::string& text) {
    try {
        parseScenario(text);
    } catch (const ScenarioError& e) {
        return {e.line(), e.message()};
    }
    return {0, ""};
}

}  // namespace qn::tools::qnscenario
