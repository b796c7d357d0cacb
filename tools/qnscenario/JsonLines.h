#pragma once
// Line numbers inside a JSON text, for messages about values that parsed but mean
// nothing: nlohmann::json keeps no positions of its own.

#include <cstddef>
#include <string>
#include <vector>

namespace qn::tools::qnscenario {

// The 1-based line of each element of the array under a top-level key, in order.
std::vector<int> arrayElementLines(const std::string& text, const std::string& key);
// The 1-based line of a top-level key, or 1 when it is not there.
int topLevelKeyLine(const std::string& text, const std::string& key);
// The 1-based line and column of a byte offset.
std::pair<int, int> lineAndColumn(const std::string& text, std::size_t offset);

}  // namespace qn::tools::qnscenario
