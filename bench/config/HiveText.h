#pragma once

#include <cstddef>
#include <string>

namespace qn::bench {

// A hive as the writer makes it (one element a line, CR LF, no indentation),
// filled with keys of a few values each until it is at least minimumSize bytes.
std::string makeHiveText(std::size_t minimumSize);

}  // namespace qn::bench
