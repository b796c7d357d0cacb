#pragma once
// How deep a JSON text nests, found before it is parsed: the JSON library and the
// conversion to host values recurse once per level, so a deep enough text would end the
// program on its stack instead of being refused.

#include <string>

namespace qn::tools::transcript {

// The deepest nesting of arrays and objects the tools take from a user.
constexpr int kMaxJsonNesting = 64;

// The 1-based line where arrays and objects first nest deeper than limit, or 0.
int lineNestedDeeperThan(const std::string& text, int limit);

}  // namespace qn::tools::transcript
