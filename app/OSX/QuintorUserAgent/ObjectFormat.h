#pragma once
// stringWithFormat: for formats whose arguments are all objects: each %@ takes the next
// argument in order, %% is a percent sign. A missing argument reads as a nil object,
// "(null)", as the platform prints one.

#include <optional>
#include <string>
#include <vector>

namespace qn::app::osx::qnuapp {

// An object argument; nothing stands for nil.
using ObjectArgument = std::optional<std::string>;

std::string formatWithObjects(const std::string& format,
                              const std::vector<ObjectArgument>& arguments);

}  // namespace qn::app::osx::qnuapp
