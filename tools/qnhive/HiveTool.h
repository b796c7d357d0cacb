#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qn::tools {

// Exit statuses of qnhive.
enum HiveToolStatus {
    HiveToolOk = 0,
    HiveToolNotFound = 1,    // the key or value asked for is not there
    HiveToolUsage = 2,       // bad command line
    HiveToolNotAHive = 3,    // the file is missing, unreadable or not a hive
    HiveToolRefused = 4,     // a value or name the hive cannot store safely
    HiveToolNotWritten = 5,  // the change could not be written; the file is as it was
};

// qnhive's whole behaviour, arguments without the program name.
int runHiveTool(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

}  // namespace qn::tools
