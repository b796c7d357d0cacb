#include <iostream>
#include <string>
#include <vector>

#include "tools/qnhive/HiveTool.h"

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    return qn::tools::runHiveTool(arguments, std::cout, std::cerr);
}
