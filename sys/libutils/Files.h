#pragma once

#include <string>
#include <vector>

namespace qn::sys {

bool directoryExists(const std::string& path);
// Names (without the path) matching a shell pattern, unsorted; an empty
// pattern is "*". A leading period must be matched explicitly. A missing
// directory gives an empty list.
std::vector<std::string> listDirectory(const std::string& path, const std::string& pattern);

std::string executablePath();
// Up to, not including, the last "/".
std::string executableDirectory();
// After the last "/", or empty if there is none.
std::string executableName();
std::string temporaryDirectory();
// The default folder of the log files, with its final separator: the build setting
// QN_LOG_DIRECTORY, "~" expanded from HOME.
std::string dataDirectory();
// Makes the folder and any missing parent with mode 0700; true if it exists afterwards,
// else false with errno saying why.
bool makePrivateDirectory(const std::string& path);
bool isWritable(const std::string& path);
bool exists(const std::string& path);

}  // namespace qn::sys
